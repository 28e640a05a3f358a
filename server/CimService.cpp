#include "server/CimService.h"

#include <memory>
#include <utility>

#include "host/Ascii.h"
#include "host/Log.h"
#include "server/Logging.h"

namespace kest::server {

namespace {

const ServerLog kLog("kest::server::CimService");

// A failed operation: a warning when the provider or the server failed
// (CIM_ERR_FAILED), information for the errors a client causes.
void logFailure(const std::string& methodName, const CimError& error) {
  kLog.write(error.code() == CIM_ERR_FAILED ? TOVLog::SEVERITY_WARNING : TOVLog::SEVERITY_INFO,
             methodName + " failed: " + cimStatusName(error.code()) + ": " + error.description());
}

std::string_view withoutSlashes(std::string_view text) {
  while (!text.empty() && text.front() == '/') text.remove_prefix(1);
  while (!text.empty() && text.back() == '/') text.remove_suffix(1);
  return text;
}

CimResponse rejection(int status, std::string cimError, std::string detail) {
  kLog.warning("request refused: " + std::to_string(status) + " " + cimError + ": " + detail);
  CimResponse response;
  response.httpStatus = status;
  response.cimError = std::move(cimError);
  response.detail = std::move(detail);
  return response;
}

// Writes a complete response message that reports error.
std::function<void(ResponseBody&, const CimError&)> failureWriter(const ParsedRequest& parsed,
                                                                  TOVString host,
                                                                  TOVString nameSpace) {
  return
      [messageId = parsed.messageId, methodName = parsed.methodName, intrinsic = parsed.intrinsic,
       host, nameSpace](ResponseBody& body, const CimError& error) {
        CimXmlWriter writer(body, host, nameSpace);
        writer.beginMessage(messageId);
        if (intrinsic) {
          writer.beginIMethodResponse(methodName);
        } else {
          writer.beginMethodResponse(methodName);
        }
        writer.error(error.code(), error.description());
        writer.finish();
      };
}

// A response that only reports error.
CimResponse errorResponse(const ParsedRequest& parsed, const CimError& error, TOVString host,
                          TOVString nameSpace) {
  logFailure(parsed.methodName, error);
  CimResponse response;
  response.writeFailure = failureWriter(parsed, std::move(host), std::move(nameSpace));
  response.writeBody = [error, write = response.writeFailure](ResponseBody& body) {
    write(body, error);
    return error;
  };
  return response;
}

// The header mismatch between CIMObject and the request, or "".
std::string objectMismatch(const std::string& object, const CimRequest& request) {
  const std::string decoded = percentDecoded(object);
  std::string_view nameSpace = decoded;
  std::string_view className;
  if (request.operation == CimOperation::MethodCall) {
    const std::size_t colon = decoded.find(':');
    if (colon == std::string::npos) return "CIMObject " + decoded + " names no object path";
    nameSpace = std::string_view(decoded).substr(0, colon);
    className = std::string_view(decoded).substr(colon + 1);
    className = className.substr(0, className.find('.'));
  }
  if (!ascii::equalsIgnoreCase(withoutSlashes(nameSpace),
                               withoutSlashes(request.nameSpace.view()))) {
    return "CIMObject " + decoded + " does not name the namespace " +
           request.nameSpace.toStdString();
  }
  if (request.operation == CimOperation::MethodCall &&
      !ascii::equalsIgnoreCase(className, request.className.view())) {
    return "CIMObject " + decoded + " does not name the class " + request.className.toStdString();
  }
  return std::string();
}

}  // namespace

std::string percentDecoded(std::string_view text) {
  auto hex = [](char c) -> int {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
  };
  std::string result;
  result.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '%' && i + 2 < text.size() && hex(text[i + 1]) >= 0 && hex(text[i + 2]) >= 0) {
      result += static_cast<char>(hex(text[i + 1]) * 16 + hex(text[i + 2]));
      i += 2;
    } else {
      result += text[i];
    }
  }
  return result;
}

std::string percentEncoded(std::string_view text) {
  static const char kHex[] = "0123456789ABCDEF";
  std::string result;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if ((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' ||
        c == '.' || c == '_' || c == '~' || c == '/') {
      result += c;
    } else {
      result += '%';
      result += kHex[byte >> 4];
      result += kHex[byte & 15];
    }
  }
  return result;
}

CimService::CimService(const RequestParser& parser, const Dispatcher& dispatcher)
    : _parser(parser), _dispatcher(dispatcher) {}

CimResponse CimService::handle(const CimHttpRequest& http) const {
  const std::optional<std::string> operation = http.header("CIMOperation");
  if (!operation || !ascii::equalsIgnoreCase(*operation, "methodcall")) {
    return rejection(400, "unsupported-operation",
                     operation ? "CIMOperation " + *operation + " is not MethodCall"
                               : "the request has no CIMOperation header");
  }
  if (const std::optional<std::string> version = http.header("CIMProtocolVersion")) {
    if (version->empty() || (*version)[0] != '1' || (version->size() > 1 && (*version)[1] != '.')) {
      return rejection(501, "unsupported-protocol-version",
                       "CIMProtocolVersion " + *version + " is not supported");
    }
  }
  // The body is parsed before CIMMethod and CIMObject are looked at: a
  // multiple request carries neither, and the parser refuses its MULTIREQ
  // with 501 multiple-requests-unsupported, which tells the client more than
  // a missing header would.
  ParsedRequest parsed;
  try {
    parsed = _parser.parse(http.body);
  } catch (const RequestRejected& rejected) {
    return rejection(rejected.httpStatus(), rejected.cimError(), rejected.detail());
  }
  const std::optional<std::string> method = http.header("CIMMethod");
  const std::optional<std::string> object = http.header("CIMObject");
  if (!method) return rejection(400, "header-mismatch", "the request has no CIMMethod header");
  if (!object) return rejection(400, "header-mismatch", "the request has no CIMObject header");
  if (!ascii::equalsIgnoreCase(percentDecoded(*method), parsed.methodName)) {
    return rejection(400, "header-mismatch",
                     "CIMMethod " + *method + " does not match the method " + parsed.methodName);
  }
  if (!parsed.request) return errorResponse(parsed, *parsed.error, http.host, "root/cimv2");

  auto request = std::make_shared<const CimRequest>(std::move(*parsed.request));
  const std::string mismatch = objectMismatch(*object, *request);
  if (!mismatch.empty()) return rejection(400, "header-mismatch", mismatch);

  Dispatcher::Route route;
  try {
    route = _dispatcher.route(*request);
  } catch (const CimError& error) {
    return errorResponse(parsed, error, http.host, request->nameSpace);
  }

  CimResponse response;
  response.streamed = isStreamed(request->operation);
  response.writeFailure = failureWriter(parsed, http.host, request->nameSpace);
  const Dispatcher& dispatcher = _dispatcher;
  const TOVString host = http.host;
  const bool intrinsic = parsed.intrinsic;
  response.writeBody = [request, route = std::move(route), host, intrinsic,
                        &dispatcher](ResponseBody& body) {
    CimXmlWriter writer(body, host, request->nameSpace);
    writer.beginMessage(request->messageId);
    if (intrinsic) {
      writer.beginIMethodResponse(request->methodName);
    } else {
      writer.beginMethodResponse(request->methodName);
    }
    const std::size_t depth = writer.depth();
    const CimXmlWriter::Mark mark = writer.mark();
    CimError status(CIM_OK, std::string());
    try {
      dispatcher.run(*request, route, writer);
    } catch (const ClientGone&) {
      throw;
    } catch (...) {
      status = errorFromCurrentException();
      logFailure(request->methodName, status);
      if (writer.canRewind(mark)) {
        writer.rewind(mark);
        writer.error(status.code(), status.description());
      } else {
        writer.endTo(depth);
      }
    }
    writer.finish();
    return status;
  };
  return response;
}

}  // namespace kest::server
