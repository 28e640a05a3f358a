#include "tests/server/ServerTestSupport.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace kest::server::testing {

std::string dataPath(const std::string& name) {
  return std::string(KEST_SERVER_TEST_DATA) + "/" + name;
}

std::string readFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) throw std::runtime_error("cannot read " + path);
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

ProgramResult runProgram(const std::vector<std::string>& argv, bool separate) {
  int out[2];
  int err[2];
  if (pipe2(out, O_CLOEXEC) != 0 || pipe2(err, O_CLOEXEC) != 0) {
    throw std::runtime_error("pipe failed");
  }
  const pid_t pid = fork();
  if (pid < 0) throw std::runtime_error("fork failed");
  if (pid == 0) {
    const int devNull = open("/dev/null", O_RDONLY);
    dup2(devNull, 0);
    dup2(out[1], 1);
    dup2(separate ? err[1] : out[1], 2);
    std::vector<char*> args;
    for (const std::string& arg : argv) args.push_back(const_cast<char*>(arg.c_str()));
    args.push_back(nullptr);
    execvp(args[0], args.data());
    _exit(127);
  }
  close(out[1]);
  close(err[1]);
  ProgramResult result;
  pollfd fds[2] = {{out[0], POLLIN, 0}, {err[0], POLLIN, 0}};
  int open = 2;
  char buffer[65536];
  while (open > 0) {
    if (poll(fds, 2, -1) < 0) break;
    for (int i = 0; i < 2; ++i) {
      if (fds[i].fd < 0 || fds[i].revents == 0) continue;
      const ssize_t n = read(fds[i].fd, buffer, sizeof buffer);
      if (n <= 0) {
        close(fds[i].fd);
        fds[i].fd = -1;
        --open;
      } else {
        (i == 0 ? result.output : result.errors).append(buffer, static_cast<std::size_t>(n));
      }
    }
  }
  int status = 0;
  waitpid(pid, &status, 0);
  result.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  return result;
}

std::string dtdErrors(const std::string& xml) {
  TemporaryFolder folder;
  const std::string file = folder.write("response.xml", xml);
  const ProgramResult result =
      runProgram({"xmllint", "--noout", "--dtdvalid", dataPath("DSP0203_2.4.0.dtd"), file}, false);
  if (result.exitCode == 0) return std::string();
  return result.output.empty() ? "xmllint failed with " + std::to_string(result.exitCode)
                               : result.output;
}

namespace {

std::string message(const std::string& content) {
  return "<?xml version=\"1.0\" encoding=\"utf-8\" ?>\n<CIM CIMVERSION=\"2.0\" DTDVERSION=\"2.0\">"
         "<MESSAGE ID=\"4711\" PROTOCOLVERSION=\"1.0\">" +
         content + "</MESSAGE></CIM>";
}

}  // namespace

std::string requestMessage(const std::string& call) {
  return message("<SIMPLEREQ>" + call + "</SIMPLEREQ>");
}

std::string multipleRequestMessage(const std::vector<std::string>& calls) {
  std::string requests;
  for (const std::string& call : calls) requests += "<SIMPLEREQ>" + call + "</SIMPLEREQ>";
  return message("<MULTIREQ>" + requests + "</MULTIREQ>");
}

std::string localNameSpacePath(const std::string& nameSpace) {
  std::string xml = "<LOCALNAMESPACEPATH>";
  std::size_t start = 0;
  while (start <= nameSpace.size()) {
    std::size_t slash = nameSpace.find('/', start);
    if (slash == std::string::npos) slash = nameSpace.size();
    xml += "<NAMESPACE NAME=\"" + nameSpace.substr(start, slash - start) + "\"/>";
    start = slash + 1;
  }
  return xml + "</LOCALNAMESPACEPATH>";
}

std::string intrinsicCall(const std::string& method, const std::string& parameters,
                          const std::string& nameSpace) {
  return requestMessage("<IMETHODCALL NAME=\"" + method + "\">" + localNameSpacePath(nameSpace) +
                        parameters + "</IMETHODCALL>");
}

std::string methodCall(const std::string& method, const std::string& instanceName,
                       const std::string& parameters, const std::string& nameSpace) {
  return requestMessage("<METHODCALL NAME=\"" + method + "\"><LOCALINSTANCEPATH>" +
                        localNameSpacePath(nameSpace) + instanceName + "</LOCALINSTANCEPATH>" +
                        parameters + "</METHODCALL>");
}

std::string parameter(const std::string& name, const std::string& content) {
  return "<IPARAMVALUE NAME=\"" + name + "\">" + content + "</IPARAMVALUE>";
}

std::string instanceNameXml(const std::string& className, const std::vector<KeyText>& keys) {
  std::string xml = "<INSTANCENAME CLASSNAME=\"" + className + "\">";
  for (const KeyText& key : keys) {
    xml += "<KEYBINDING NAME=\"" + key.name + "\"><KEYVALUE VALUETYPE=\"" + key.valueType + "\">" +
           key.text + "</KEYVALUE></KEYBINDING>";
  }
  return xml + "</INSTANCENAME>";
}

TemporaryFolder::TemporaryFolder() {
  std::string pattern =
      (std::filesystem::temp_directory_path() / "kest-server-test-XXXXXX").string();
  if (mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("mkdtemp failed");
  _path = pattern;
}

TemporaryFolder::~TemporaryFolder() {
  std::error_code ignored;
  std::filesystem::remove_all(_path, ignored);
}

std::string TemporaryFolder::write(const std::string& name, const std::string& content) const {
  const std::string file = _path + "/" + name;
  std::ofstream out(file, std::ios::binary);
  out << content;
  if (!out) throw std::runtime_error("cannot write " + file);
  return file;
}

}  // namespace kest::server::testing
