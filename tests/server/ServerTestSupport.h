#pragma once

// Helpers shared by the server's tests: running programs, validating CIM-XML
// against the DTD, and building objects.

#include <string>
#include <vector>

#include "host/InstanceName.h"
#include "host/Object.h"
#include "host/SmartPointer.h"
#include "host/String.h"
#include "host/Value.h"

namespace kest::server::testing {

// The folder of the tests' data files (the CIM DTD, request bodies).
std::string dataPath(const std::string& name);
// The whole content of a file.
std::string readFile(const std::string& path);

// What a finished program printed and its exit code.
struct ProgramResult {
  std::string output;  // stdout, then stderr when separate is false
  std::string errors;  // stderr (separate only)
  int exitCode = -1;
};

// Runs argv (no shell) with stdin from /dev/null, waits for it and collects
// its output. With separate, stderr is kept apart from stdout.
ProgramResult runProgram(const std::vector<std::string>& argv, bool separate = true);

// Validates a CIM-XML document against DSP0203 2.4.0 with xmllint; returns
// the empty string when it is valid, xmllint's messages otherwise.
std::string dtdErrors(const std::string& xml);

// Builders of CIM-XML request messages (what a client sends).
//   requestMessage: the whole message around one IMETHODCALL or METHODCALL;
//   multipleRequestMessage: the whole message around a MULTIREQ of the
//     calls, each in its SIMPLEREQ;
//   intrinsicCall: an IMETHODCALL of method in nameSpace with parameters;
//   methodCall: a METHODCALL of method on the object named by instanceName
//     (an INSTANCENAME element) in nameSpace;
//   parameter: one IPARAMVALUE;
//   localNameSpacePath: LOCALNAMESPACEPATH of a namespace such as "root/cimv2";
//   instanceNameXml: an INSTANCENAME whose keys are (name, VALUETYPE, text).
struct KeyText {
  std::string name;
  std::string valueType;
  std::string text;
};
std::string requestMessage(const std::string& call);
std::string multipleRequestMessage(const std::vector<std::string>& calls);
std::string intrinsicCall(const std::string& method, const std::string& parameters,
                          const std::string& nameSpace = "root/cimv2");
std::string methodCall(const std::string& method, const std::string& instanceName,
                       const std::string& parameters, const std::string& nameSpace = "root/cimv2");
std::string parameter(const std::string& name, const std::string& content);
std::string localNameSpacePath(const std::string& nameSpace);
std::string instanceNameXml(const std::string& className, const std::vector<KeyText>& keys);

// A file in a fresh temporary folder that is removed with the object.
class TemporaryFolder {
 public:
  TemporaryFolder();
  ~TemporaryFolder();
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;
  const std::string& path() const { return _path; }
  // Writes content into name inside the folder; returns the file's path.
  std::string write(const std::string& name, const std::string& content) const;

 private:
  std::string _path;
};

}  // namespace kest::server::testing
