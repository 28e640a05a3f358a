#include "server/repository/MofCompiler.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <new>
#include <sstream>
#include <unordered_map>

#include "server/repository/ClassBuilder.h"
#include "server/repository/InstanceBuilder.h"
#include "server/repository/MofLexer.h"
#include "server/repository/MofParser.h"
#include "server/repository/Names.h"

namespace kest::repository {

namespace {

namespace fs = std::filesystem;

// Files may include each other this deep (cycles are found before).
constexpr std::size_t kMaxIncludeDepth = 64;

std::string quoted(const std::string& text) { return "'" + text + "'"; }

// "root/cimv2": names of letters, digits and underscores, separated by
// single slashes.
bool isValidNameSpace(std::string_view name) {
  if (name.empty() || name.front() == '/' || name.back() == '/') return false;
  char previous = '/';
  for (const char c : name) {
    const bool nameCharacter = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
                               (c >= '0' && c <= '9') || c == '_' ||
                               static_cast<unsigned char>(c) >= 0x80;
    if (!nameCharacter && !(c == '/' && previous != '/')) return false;
    previous = c;
  }
  return true;
}

// One compilation: the classes and declarations found so far (staged until
// the end), the include stack, the diagnostics.
class Compilation : public BuildContext {
 public:
  Compilation(ClassRepository& repository, bool builtIn)
      : _repository(repository), _builtIn(builtIn), _instances(*this, repository) {}

  void compileFile(const std::string& path, const SourceLocation* includedFrom,
                   const TOVString& nameSpace);
  void compileSource(const std::string& name, const std::string& canonical, std::string_view bytes,
                     const TOVString& nameSpace);
  CompileResult finish();

  std::shared_ptr<const ClassDefinition> findClass(const TOVString& nameSpace,
                                                   const TOVString& className) const override;
  std::optional<QualifierDeclaration> findQualifierDeclaration(
      const TOVString& nameSpace, const TOVString& name) const override;
  bool replaceable(const TOVString& nameSpace, const ClassDefinition& existing) const override;
  void report(Severity severity, const SourceLocation& location,
              const std::string& message) override;
  void requireClass(const TOVString& nameSpace, const TOVString& className,
                    const SourceLocation& location, const std::string& what) override;

 private:
  struct Staged {
    std::unordered_map<std::string, ClassPointer> classes;
    std::unordered_map<std::string, QualifierDeclaration> qualifiers;
  };
  struct Required {
    TOVString nameSpace;
    TOVString className;
    SourceLocation location;
    std::string what;
  };
  struct OpenFile {
    std::string name;
    std::string canonical;
  };

  void handle(const PragmaSyntax& pragma, const std::string& file, TOVString& nameSpace);
  void handle(const QualifierDeclarationSyntax& syntax, const TOVString& nameSpace);
  void handle(const ClassSyntax& syntax, const TOVString& nameSpace);
  void handle(const InstanceSyntax& syntax, const TOVString& nameSpace);
  void handleLocale(const PragmaSyntax& pragma);
  Staged& staged(const TOVString& nameSpace);
  void readFailure(const std::string& path, const SourceLocation* includedFrom,
                   const std::string& reason);

  ClassRepository& _repository;
  const bool _builtIn;
  InstanceSet _instances;
  // Lower-cased namespace -> what this compilation adds to it.
  std::map<std::string, Staged> _staged;
  ClassRepository::Update _update;
  std::vector<OpenFile> _open;
  std::vector<Required> _required;
  CompileResult _result;
  // Set by a syntax error: nothing more is compiled.
  bool _stopped = false;
};

Compilation::Staged& Compilation::staged(const TOVString& nameSpace) {
  const auto [position, added] = _staged.try_emplace(foldName(nameSpace));
  if (added) _update.nameSpaces.push_back(nameSpace);
  return position->second;
}

std::shared_ptr<const ClassDefinition> Compilation::findClass(const TOVString& nameSpace,
                                                              const TOVString& className) const {
  const auto space = _staged.find(foldName(nameSpace));
  if (space != _staged.end()) {
    const auto found = space->second.classes.find(foldName(className));
    if (found != space->second.classes.end()) return found->second;
  }
  return _repository.findClass(nameSpace, className);
}

std::optional<QualifierDeclaration> Compilation::findQualifierDeclaration(
    const TOVString& nameSpace, const TOVString& name) const {
  const auto space = _staged.find(foldName(nameSpace));
  if (space != _staged.end()) {
    const auto found = space->second.qualifiers.find(foldName(name));
    if (found != space->second.qualifiers.end()) return found->second;
  }
  return _repository.findQualifierDeclaration(nameSpace, name);
}

bool Compilation::replaceable(const TOVString& nameSpace, const ClassDefinition& existing) const {
  if (!existing.builtIn) return false;
  const auto space = _staged.find(foldName(nameSpace));
  return space == _staged.end() || space->second.classes.count(foldName(existing.name)) == 0;
}

void Compilation::report(Severity severity, const SourceLocation& location,
                         const std::string& message) {
  _result.diagnostics.push_back(Diagnostic{severity, location, message});
  ++(severity == Severity::Error ? _result.errorCount : _result.warningCount);
}

void Compilation::requireClass(const TOVString& nameSpace, const TOVString& className,
                               const SourceLocation& location, const std::string& what) {
  _required.push_back(Required{nameSpace, className, location, what});
}

void Compilation::readFailure(const std::string& path, const SourceLocation* includedFrom,
                              const std::string& reason) {
  if (includedFrom != nullptr) {
    report(Severity::Error, *includedFrom,
           "cannot read included file " + quoted(path) + ": " + reason);
  } else {
    report(Severity::Error, SourceLocation{path, 0, 0}, "cannot read file: " + reason);
  }
}

void Compilation::compileFile(const std::string& path, const SourceLocation* includedFrom,
                              const TOVString& nameSpace) {
  std::error_code error;
  const fs::file_status status = fs::status(path, error);
  if (error) return readFailure(path, includedFrom, error.message());
  if (!fs::is_regular_file(status)) return readFailure(path, includedFrom, "not a regular file");
  std::ifstream stream(path, std::ios::binary);
  if (!stream) return readFailure(path, includedFrom, std::strerror(errno));
  const std::string bytes((std::istreambuf_iterator<char>(stream)),
                          std::istreambuf_iterator<char>());
  if (stream.bad()) return readFailure(path, includedFrom, "read error");
  fs::path canonical = fs::weakly_canonical(fs::absolute(path, error), error);
  compileSource(path, canonical.string(), bytes, nameSpace);
}

void Compilation::compileSource(const std::string& name, const std::string& canonical,
                                std::string_view bytes, const TOVString& nameSpace) {
  std::string text;
  std::string decodeError;
  if (!decodeMofSource(bytes, text, decodeError)) {
    report(Severity::Error, SourceLocation{name, 0, 0}, decodeError);
    return;
  }
  _open.push_back(OpenFile{name, canonical});
  try {
    MofLexer lexer(name, std::move(text));
    MofParser parser(lexer);
    TOVString current = nameSpace;
    while (!_stopped) {
      std::optional<Production> production = parser.next();
      if (!production) break;
      if (const auto* pragma = std::get_if<PragmaSyntax>(&*production)) {
        handle(*pragma, name, current);
      } else if (const auto* qualifier = std::get_if<QualifierDeclarationSyntax>(&*production)) {
        handle(*qualifier, current);
      } else if (const auto* cls = std::get_if<ClassSyntax>(&*production)) {
        handle(*cls, current);
      } else {
        handle(std::get<InstanceSyntax>(*production), current);
      }
    }
  } catch (const MofSyntaxError& error) {
    report(Severity::Error, error.location(), error.what());
    _stopped = true;
  }
  _open.pop_back();
}

void Compilation::handle(const PragmaSyntax& pragma, const std::string& file,
                         TOVString& nameSpace) {
  const std::string name = foldName(TOVString(pragma.name));
  if (name == "namespace") {
    if (!isValidNameSpace(pragma.value)) {
      report(Severity::Error, pragma.valueLocation,
             "invalid namespace name " + quoted(pragma.value));
      return;
    }
    nameSpace = TOVString(pragma.value);
    return;
  }
  if (name == "locale" || name == "instancelocale") return handleLocale(pragma);
  if (name == "source" || name == "sourcetype" || name == "nonlocal" || name == "nonlocaltype") {
    report(Severity::Warning, pragma.location,
           "pragma " + quoted(pragma.name) +
               " is ignored: instances are served from this server only");
    return;
  }
  if (name != "include") {
    report(Severity::Warning, pragma.location,
           "pragma " + quoted(pragma.name) + " is not supported and is ignored");
    return;
  }
  if (pragma.value.empty()) {
    report(Severity::Error, pragma.valueLocation, "empty file name in pragma include");
    return;
  }
  fs::path target(pragma.value);
  if (target.is_relative()) target = fs::path(file).parent_path() / target;
  const std::string path = target.lexically_normal().string();
  std::error_code error;
  const std::string canonical = fs::weakly_canonical(fs::absolute(target, error), error).string();
  for (std::size_t i = 0; i < _open.size(); ++i) {
    if (_open[i].canonical != canonical) continue;
    std::string chain;
    for (std::size_t k = i; k < _open.size(); ++k) chain += _open[k].name + " -> ";
    report(Severity::Error, pragma.location, "include cycle: " + chain + path);
    return;
  }
  if (_open.size() >= kMaxIncludeDepth) {
    report(Severity::Error, pragma.location,
           "includes are nested more than " + std::to_string(kMaxIncludeDepth) + " deep");
    return;
  }
  compileFile(path, &pragma.location, nameSpace);
}

// Qualifier texts (descriptions, value names) are kept as written: only the
// locale they are written in goes without a warning.
void Compilation::handleLocale(const PragmaSyntax& pragma) {
  std::string locale = foldName(TOVString(pragma.value));
  for (char& c : locale) {
    if (c == '-') c = '_';
  }
  if (locale == "en_us") return;
  report(
      Severity::Warning, pragma.valueLocation,
      "qualifier texts are served as written; locale " + quoted(pragma.value) + " is not applied");
}

void Compilation::handle(const QualifierDeclarationSyntax& syntax, const TOVString& nameSpace) {
  std::optional<QualifierDeclaration> declaration = buildQualifierDeclaration(*this, syntax);
  if (!declaration) return;
  const std::optional<QualifierDeclaration> existing =
      findQualifierDeclaration(nameSpace, declaration->name);
  if (existing && existing->location.isKnown() && !existing->sameDefinitionAs(*declaration)) {
    report(Severity::Error, syntax.location,
           "qualifier " + quoted(syntax.name) + " is already declared differently at " +
               existing->location.toString());
    return;
  }
  Staged& space = staged(nameSpace);
  const std::string key = foldName(declaration->name);
  if (space.qualifiers.count(key) == 0) {
    _update.qualifiers.push_back(ClassRepository::Update::QualifierEntry{nameSpace, *declaration});
    space.qualifiers.emplace(key, std::move(*declaration));
  }
}

void Compilation::handle(const ClassSyntax& syntax, const TOVString& nameSpace) {
  std::shared_ptr<ClassDefinition> cls = buildClass(*this, nameSpace, syntax);
  if (!cls) return;
  cls->builtIn = _builtIn;
  const bool replaces = _repository.findClass(nameSpace, cls->name) != nullptr;
  staged(nameSpace).classes.emplace(foldName(cls->name), cls);
  _update.classes.push_back(
      ClassRepository::Update::ClassEntry{nameSpace, std::move(cls), replaces});
}

void Compilation::handle(const InstanceSyntax& syntax, const TOVString& nameSpace) {
  staged(nameSpace);
  _instances.add(nameSpace, syntax);
}

CompileResult Compilation::finish() {
  if (!_stopped) {
    _update.instances = _instances.finish();
    for (const Required& required : _required) {
      if (!findClass(required.nameSpace, required.className)) {
        report(
            Severity::Error, required.location,
            "unknown class " + quoted(required.className.toStdString()) + " in " + required.what);
      }
    }
  }
  if (_result.errorCount == 0) {
    if (const auto conflict = _repository.apply(_update)) {
      if (conflict->definition) {
        report(Severity::Error, conflict->definition->location,
               "class " + quoted(conflict->definition->name.toStdString()) + " is already defined");
      } else {
        report(Severity::Error, conflict->instance->location,
               "an instance " + quoted(conflict->instance->name()->toString().toStdString()) +
                   " is already in namespace " + quoted(conflict->nameSpace.toStdString()));
      }
    } else {
      _result.classCount = _update.classes.size();
      _result.qualifierCount = _update.qualifiers.size();
      _result.instanceCount = _update.instances.size();
    }
  }
  return std::move(_result);
}

// Runs compile; any failure other than running out of memory becomes an
// error diagnostic, so that callers get a result whatever the input.
template <typename F>
CompileResult guarded(Compilation& compilation, F compile) {
  try {
    compile();
  } catch (const std::bad_alloc&) {
    throw;
  } catch (const std::exception& error) {
    compilation.report(Severity::Error, SourceLocation(),
                       std::string("internal error: ") + error.what());
  }
  return compilation.finish();
}

}  // namespace

MofCompiler::MofCompiler(ClassRepository& repository, CompileOptions options)
    : _repository(repository), _options(std::move(options)) {}

CompileResult MofCompiler::compileFiles(const std::vector<std::string>& paths) {
  Compilation compilation(_repository, _options.builtIn);
  return guarded(compilation, [&] {
    for (const std::string& path : paths)
      compilation.compileFile(path, nullptr, _options.defaultNameSpace);
  });
}

CompileResult MofCompiler::compileText(const std::string& sourceName, std::string_view text) {
  Compilation compilation(_repository, _options.builtIn);
  return guarded(compilation, [&] {
    std::error_code error;
    const std::string canonical =
        fs::weakly_canonical(fs::absolute(sourceName, error), error).string();
    compilation.compileSource(sourceName, canonical, text, _options.defaultNameSpace);
  });
}

}  // namespace kest::repository
