#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "host/String.h"
#include "server/repository/ClassRepository.h"
#include "server/repository/Diagnostic.h"

namespace kest::repository {

struct CompileOptions {
  // The namespace that each file given to the compiler starts in.
  TOVString defaultNameSpace = "root/cimv2";
  // The classes compiled are built-in ones (ClassDefinition::builtIn): a
  // later compilation may replace each by a class of the same name,
  // superclass and keys.
  bool builtIn = false;
};

// What one compilation found and did.
//   diagnostics: every error and warning, in the order found;
//   classCount, qualifierCount, instanceCount: the classes (replacing ones
//     included), qualifier declarations and instances added to the
//     repository (0 when there were errors: nothing is added then).
struct CompileResult {
  std::vector<Diagnostic> diagnostics;
  std::size_t errorCount = 0;
  std::size_t warningCount = 0;
  std::size_t classCount = 0;
  std::size_t qualifierCount = 0;
  std::size_t instanceCount = 0;

  bool succeeded() const { return errorCount == 0; }
};

// MofCompiler: compiles MOF (DMTF DSP0221) into a ClassRepository.
//
// Input: qualifier declarations (scope and flavors; "Flavor" or "Policy"),
// class declarations with superclass and qualifiers, properties of every CIM
// type (and "object") with fixed or variable arrays and default values,
// references (REF), methods with scalar, array, reference and reference-array
// parameters, instance declarations (below), both comment forms, and the
// pragmas: "include" (relative to the including file) and "namespace";
// "locale" and "instancelocale", accepted silently for en_US (any case, "-"
// or "_") and with a warning otherwise (qualifier texts are served as
// written); "source", "sourcetype", "nonlocal" and "nonlocaltype" with a
// warning that they are ignored; any other pragma with a warning. Files are
// UTF-8 (a byte order mark is allowed) or UTF-16 with a byte order mark.
//
// Instances: "[qualifiers] instance of Class [as $Alias] { Name = value; ...
// };" builds an instance of Class in the namespace current at that point
// (CompiledInstance, added to the repository with the classes). Values are
// constants and arrays as for default values, NULL, aliases ("$Alias") of
// instances of this compilation for references (declared before or after
// their use, in any namespace), object paths in strings for references
// ("CIM_Foo.Name=\"x\"", optionally "//host/namespace:" first; ObjectPath.h),
// and embedded instances ("instance of X { ... }", no alias, keys optional)
// for properties of type object or with EmbeddedObject or EmbeddedInstance.
// Properties not given take the class's default value, else NULL.
// Qualifiers on instances and on their property values are read and not
// kept.
//
// Built-in classes: with CompileOptions::builtIn the classes are marked
// built-in; a later compilation may define a class of the same name in the
// same namespace, which then replaces the built-in one in place when it has
// the same superclass and keys (it is not built-in itself). Built-in
// subclasses that are not redefined keep what they inherited.
//
// Namespaces: every file given to compileFiles (and the text of compileText)
// starts in options.defaultNameSpace; "#pragma namespace" changes the
// namespace for the rest of its file and for the files that the file
// includes afterwards; an included file starts in its includer's current
// namespace and its own namespace pragmas end with it.
//
// Checks (errors unless marked): unknown qualifiers, qualifiers used outside
// their scope or with a value that does not fit their type, a qualifier given
// twice, conflicting flavors, a DisableOverride qualifier changed in a
// subclass, unknown superclasses, duplicate classes, references (and
// reference parameters) to classes that are not defined by the end of the
// compilation, duplicate property, method or parameter names, a name that is
// both a property and a method, overrides of elements that no superclass has,
// overrides that change a type or a method signature, a redefinition of an
// inherited element without Override (warning; treated as an override), new
// keys in a subclass of a keyed class, array keys, an association without a
// superclass and with fewer than two references, EmbeddedObject or
// EmbeddedInstance on a non-string element, include cycles, files that cannot
// be read, a qualifier redeclared differently in one namespace.
//
// A syntax error ends the compilation (it is reported with what was
// expected); other errors are collected and the compilation goes on. The
// repository is changed only when a compilation has no errors, and then all
// at once.
//
// Threads: one MofCompiler is used by one thread at a time; several may
// compile into one repository at once. The compile operations throw nothing
// but std::bad_alloc: every other failure is a diagnostic of the result.
class MofCompiler {
 public:
  explicit MofCompiler(ClassRepository& repository, CompileOptions options = {});

  // Compiles the files in order, as one compilation.
  CompileResult compileFiles(const std::vector<std::string>& paths);
  // Compiles text as if read from a file named sourceName (which names it in
  // diagnostics and is the base of its relative includes).
  CompileResult compileText(const std::string& sourceName, std::string_view text);

 private:
  ClassRepository& _repository;
  CompileOptions _options;
};

}  // namespace kest::repository
