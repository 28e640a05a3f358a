#pragma once

// Turns parsed declarations into qualifier declarations and resolved classes:
// qualifier checks, inheritance and the class checks. Internal to the
// repository library.

#include <memory>
#include <optional>
#include <string>

#include "server/repository/ClassDefinition.h"
#include "server/repository/Diagnostic.h"
#include "server/repository/MofSyntax.h"

namespace kest::repository {

// What the builder needs from the compilation it runs in.
class BuildContext {
 public:
  virtual ~BuildContext() = default;
  // A class already defined (in this compilation or the repository); null
  // when unknown.
  virtual std::shared_ptr<const ClassDefinition> findClass(const TOVString& nameSpace,
                                                           const TOVString& className) const = 0;
  // The qualifier declaration in effect in nameSpace (declared, or built in).
  virtual std::optional<QualifierDeclaration> findQualifierDeclaration(
      const TOVString& nameSpace, const TOVString& name) const = 0;
  // Whether existing, found by findClass, is a built-in class that a class
  // of this compilation may replace (one already in the repository, not one
  // of this compilation).
  virtual bool replaceable(const TOVString& nameSpace, const ClassDefinition& existing) const = 0;
  virtual void report(Severity severity, const SourceLocation& location,
                      const std::string& message) = 0;
  // Records that className must be defined by the end of the compilation;
  // what names the element that refers to it (for the message).
  virtual void requireClass(const TOVString& nameSpace, const TOVString& className,
                            const SourceLocation& location, const std::string& what) = 0;
};

// A qualifier declaration from its syntax; errors are reported to context
// and give nullopt.
std::optional<QualifierDeclaration> buildQualifierDeclaration(
    BuildContext& context, const QualifierDeclarationSyntax& syntax);

// The resolved class, inheriting from its superclass (looked up in context).
// Errors are reported to context; a class with errors is still returned
// (built as far as possible) so that later classes can refer to it, except a
// duplicate of an existing class, which gives null. A class of the name of a
// replaceable built-in class (BuildContext::replaceable) is built when it
// has the built-in class's superclass (ignoring case) and key properties
// (names ignoring case, and types); otherwise that is an error naming the
// difference.
std::shared_ptr<ClassDefinition> buildClass(BuildContext& context, const TOVString& nameSpace,
                                            const ClassSyntax& syntax);

// A class known only by name and superclass (defined false), inheriting what
// superClass propagates when it is given. An association that does not
// inherit the Association qualifier gets it (TRUE, with its standard flavor).
std::shared_ptr<ClassDefinition> declaredClass(const TOVString& className,
                                               const TOVString& superClassName,
                                               const ClassDefinition* superClass, bool association);

}  // namespace kest::repository
