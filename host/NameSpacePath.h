#pragma once

#include "host/String.h"

// ITovaNameSpacePath: the host and namespace part of an object path. Either
// may be empty (no host: the local one).
class ITovaNameSpacePath {
 public:
  virtual ~ITovaNameSpacePath();
  virtual TOVString getHost() const = 0;
  virtual TOVString getNameSpace() const = 0;
};

class CTovaNameSpacePath : public ITovaNameSpacePath {
 public:
  CTovaNameSpacePath(const TOVString& host, const TOVString& nameSpace);
  TOVString getHost() const override;
  TOVString getNameSpace() const override;

 private:
  TOVString _host;
  TOVString _nameSpace;
};
