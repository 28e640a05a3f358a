#include "server/repository/StandardQualifiers.h"

#include <stdexcept>
#include <string>
#include <unordered_map>

#include "server/repository/ClassBuilder.h"
#include "server/repository/MofLexer.h"
#include "server/repository/MofParser.h"
#include "server/repository/Names.h"

namespace kest::repository {

namespace {

// Name, type, default, scopes and flavors of each standard qualifier. A
// declaration without Flavor has the default flavors (EnableOverride,
// ToSubclass).
constexpr const char* kStandardQualifiers = R"MOF(
// Meta qualifiers
Qualifier Association : boolean = false, Scope(association), Flavor(DisableOverride, ToSubclass);
Qualifier Indication : boolean = false, Scope(class, indication), Flavor(DisableOverride, ToSubclass);

// Required qualifiers
Qualifier Abstract : boolean = false, Scope(class, association, indication), Flavor(Restricted);
Qualifier Aggregate : boolean = false, Scope(reference), Flavor(DisableOverride, ToSubclass);
Qualifier Aggregation : boolean = false, Scope(association), Flavor(DisableOverride, ToSubclass);
Qualifier ArrayType : string = "Bag", Scope(property, parameter), Flavor(DisableOverride, ToSubclass);
Qualifier BitMap : string[], Scope(property, method, parameter);
Qualifier BitValues : string[], Scope(property, method, parameter), Flavor(Translatable);
Qualifier ClassConstraint : string[], Scope(class, association, indication);
Qualifier Composition : boolean = false, Scope(association), Flavor(DisableOverride, ToSubclass);
Qualifier Correlatable : string[], Scope(property);
Qualifier Counter : boolean = false, Scope(property, method, parameter);
Qualifier Deprecated : string[], Scope(any), Flavor(Restricted);
Qualifier Description : string = null, Scope(any), Flavor(Translatable);
Qualifier DisplayName : string = null, Scope(any), Flavor(Translatable);
Qualifier DN : boolean = false, Scope(property, method, parameter), Flavor(DisableOverride, ToSubclass);
Qualifier EmbeddedInstance : string = null, Scope(property, method, parameter);
Qualifier EmbeddedObject : boolean = false, Scope(property, method, parameter),
    Flavor(DisableOverride, ToSubclass);
Qualifier Exception : boolean = false, Scope(class, indication), Flavor(DisableOverride, ToSubclass);
Qualifier Experimental : boolean = false, Scope(any), Flavor(Restricted);
Qualifier Gauge : boolean = false, Scope(property, method, parameter);
Qualifier In : boolean = true, Scope(parameter), Flavor(DisableOverride, ToSubclass);
Qualifier IsPUnit : boolean = false, Scope(property, method, parameter);
Qualifier Key : boolean = false, Scope(property, reference), Flavor(DisableOverride, ToSubclass);
Qualifier MappingStrings : string[],
    Scope(class, association, indication, property, reference, method, parameter);
Qualifier Max : uint32 = null, Scope(reference);
Qualifier MaxLen : uint32 = null, Scope(property, method, parameter);
Qualifier MaxValue : sint64 = null, Scope(property, method, parameter);
Qualifier MethodConstraint : string[], Scope(method);
Qualifier Min : uint32 = 0, Scope(reference);
Qualifier MinLen : uint32 = 0, Scope(property, method, parameter);
Qualifier MinValue : sint64 = null, Scope(property, method, parameter);
Qualifier ModelCorrespondence : string[], Scope(any);
Qualifier NullValue : string = null, Scope(property), Flavor(DisableOverride, ToSubclass);
Qualifier OctetString : boolean = false, Scope(property, method, parameter),
    Flavor(DisableOverride, ToSubclass);
Qualifier Out : boolean = false, Scope(parameter), Flavor(DisableOverride, ToSubclass);
Qualifier Override : string = null, Scope(property, reference, method), Flavor(Restricted);
Qualifier Propagated : string = null, Scope(property), Flavor(DisableOverride, ToSubclass);
Qualifier PropertyConstraint : string[], Scope(property, reference);
Qualifier PUnit : string = null, Scope(property, method, parameter);
Qualifier Read : boolean = true, Scope(property);
Qualifier Required : boolean = false, Scope(property, reference, method, parameter),
    Flavor(DisableOverride, ToSubclass);
Qualifier Revision : string = null, Scope(class, association, indication), Flavor(Translatable);
Qualifier Schema : string = null, Scope(property, method), Flavor(DisableOverride, ToSubclass, Translatable);
Qualifier Static : boolean = false, Scope(property, method), Flavor(DisableOverride, ToSubclass);
Qualifier Terminal : boolean = false, Scope(class, association, indication);
Qualifier UMLPackagePath : string = null, Scope(class, association, indication);
Qualifier Units : string = null, Scope(property, method, parameter), Flavor(Translatable);
Qualifier ValueMap : string[], Scope(property, method, parameter);
Qualifier Values : string[], Scope(property, method, parameter), Flavor(Translatable);
Qualifier Version : string = null, Scope(class, association, indication), Flavor(Restricted, Translatable);
Qualifier Weak : boolean = false, Scope(reference), Flavor(DisableOverride, ToSubclass);
Qualifier Write : boolean = false, Scope(property);

// Optional qualifiers
Qualifier Alias : string = null, Scope(property, reference, method), Flavor(Translatable);
Qualifier Delete : boolean = false, Scope(association, reference);
Qualifier DisplayDescription : string = null, Scope(any), Flavor(Translatable);
Qualifier Expensive : boolean = false, Scope(any);
Qualifier IfDeleted : boolean = false, Scope(association, reference);
Qualifier Invisible : boolean = false, Scope(association, class, property, reference, method);
Qualifier Large : boolean = false, Scope(class, property);
Qualifier PropertyUsage : string = "CurrentContext", Scope(property);
Qualifier Provider : string = null, Scope(any);
Qualifier Syntax : string = null, Scope(property, reference, method, parameter);
Qualifier SyntaxType : string = null, Scope(property, reference, method, parameter);
Qualifier TriggerType : string = null, Scope(class, association, indication, property, reference, method);
Qualifier UnknownValues : string[], Scope(property), Flavor(DisableOverride, ToSubclass);
Qualifier UnsupportedValues : string[], Scope(property), Flavor(DisableOverride, ToSubclass);
)MOF";

// Classes are never compiled here; a report is a fault in the text above.
class StandardContext : public BuildContext {
 public:
  std::shared_ptr<const ClassDefinition> findClass(const TOVString&,
                                                   const TOVString&) const override {
    return nullptr;
  }
  std::optional<QualifierDeclaration> findQualifierDeclaration(const TOVString&,
                                                               const TOVString&) const override {
    return std::nullopt;
  }
  bool replaceable(const TOVString&, const ClassDefinition&) const override { return false; }
  void report(Severity, const SourceLocation& location, const std::string& message) override {
    throw std::logic_error("standard qualifiers: " + location.toString() + ": " + message);
  }
  void requireClass(const TOVString&, const TOVString&, const SourceLocation&,
                    const std::string&) override {}
};

std::vector<QualifierDeclaration> compileStandardQualifiers() {
  StandardContext context;
  MofLexer lexer("<standard qualifiers>", kStandardQualifiers);
  MofParser parser(lexer);
  std::vector<QualifierDeclaration> declarations;
  while (std::optional<Production> production = parser.next()) {
    declarations.push_back(
        *buildQualifierDeclaration(context, std::get<QualifierDeclarationSyntax>(*production)));
    declarations.back().location = SourceLocation();
  }
  return declarations;
}

}  // namespace

const std::vector<QualifierDeclaration>& standardQualifierDeclarations() {
  static const std::vector<QualifierDeclaration> declarations = compileStandardQualifiers();
  return declarations;
}

const QualifierDeclaration* findStandardQualifierDeclaration(const TOVString& name) {
  static const std::unordered_map<std::string, const QualifierDeclaration*> index = [] {
    std::unordered_map<std::string, const QualifierDeclaration*> byName;
    for (const QualifierDeclaration& declaration : standardQualifierDeclarations()) {
      byName.emplace(foldName(declaration.name), &declaration);
    }
    return byName;
  }();
  const auto found = index.find(foldName(name));
  return found == index.end() ? nullptr : found->second;
}

}  // namespace kest::repository
