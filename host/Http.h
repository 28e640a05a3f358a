#pragma once

#include <iosfwd>

// Opaque HTTP types of the host's extrinsic HTTP channel. A provider may serve
// raw HTTP requests routed to it; these are the handles the host passes. The
// server gives them bodies where it needs them.
class TOVGenericHTTPIStream {
 public:
  virtual ~TOVGenericHTTPIStream();
};

class TOVGenericHTTPOStream {
 public:
  virtual ~TOVGenericHTTPOStream();
};

class TOVHTTPRequest {
 public:
  virtual ~TOVHTTPRequest();
};

class TOVHTTPResponse {
 public:
  virtual ~TOVHTTPResponse();
};
