#pragma once

// The MOF parser: reads productions (pragmas, qualifier declarations, class
// and instance declarations) one at a time. Internal to the repository
// library.

#include <optional>
#include <string>
#include <vector>

#include "server/repository/MofLexer.h"
#include "server/repository/MofSyntax.h"

namespace kest::repository {

// MofParser: a recursive-descent parser over a MofLexer (not owned; it must
// outlive the parser). Keywords are matched ignoring case. Throws
// MofSyntaxError, located at the token where something else was expected.
class MofParser {
 public:
  explicit MofParser(MofLexer& lexer) : _lexer(lexer) {}

  // The next production; nullopt at the end of the text.
  std::optional<Production> next();

 private:
  [[noreturn]] void failAt(const Token& token, const std::string& message) const;
  SourceLocation here() { return _lexer.locationOf(_lexer.peek()); }
  // Consumes the punctuation c, or fails with message.
  void expect(char c, const std::string& message);
  // Consumes an identifier and returns its text, or fails with message.
  std::string expectIdentifier(const std::string& message);
  bool accept(char c);

  PragmaSyntax parsePragma();
  QualifierDeclarationSyntax parseQualifierDeclaration();
  ClassSyntax parseClass(std::vector<QualifierSyntax> qualifiers);
  // "instance of ... { ... }", without the ";" that ends a declaration.
  InstanceSyntax parseInstance();
  InstanceSyntax parseInstanceDeclaration();
  void parseFeature(ClassSyntax& cls);
  std::vector<FeatureSyntax> parseParameters();
  std::vector<QualifierSyntax> parseQualifierList();
  std::vector<FlavorSyntax> parseFlavorList();
  unsigned parseScopeList();
  // A data type keyword, or a class name followed by REF when references are
  // allowed; what names the element for messages.
  TypeSyntax parseType(bool allowReference, const std::string& what);
  void parseArraySuffix(DataType& type);
  ValueSyntax parseValue(bool allowArray);

  MofLexer& _lexer;
};

}  // namespace kest::repository
