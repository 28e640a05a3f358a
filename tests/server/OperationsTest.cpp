#include "server/Operations.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <set>
#include <stdexcept>
#include <string>
#include <variant>
#include <vector>

using kest::server::allOperations;
using kest::server::CimOperation;
using kest::server::CimRequest;
using kest::server::describe;
using kest::server::findOperation;
using kest::server::isStreamed;
using kest::server::OperationDescriptor;
using kest::server::ParameterDescriptor;
using kest::server::ParameterKind;
using kest::server::RouteKind;

namespace {

constexpr CimOperation kEveryOperation[] = {
    CimOperation::GetClass,
    CimOperation::EnumerateClasses,
    CimOperation::EnumerateClassNames,
    CimOperation::GetInstance,
    CimOperation::EnumerateInstances,
    CimOperation::EnumerateInstanceNames,
    CimOperation::Associators,
    CimOperation::AssociatorNames,
    CimOperation::References,
    CimOperation::ReferenceNames,
    CimOperation::CreateInstance,
    CimOperation::ModifyInstance,
    CimOperation::DeleteInstance,
    CimOperation::GetProperty,
    CimOperation::SetProperty,
    CimOperation::MethodCall,
};

// No default case: a new enumerator does not compile until it is listed
// here (and in kEveryOperation).
bool returnsAList(CimOperation operation) {
  switch (operation) {
    case CimOperation::EnumerateClasses:
    case CimOperation::EnumerateClassNames:
    case CimOperation::EnumerateInstances:
    case CimOperation::EnumerateInstanceNames:
    case CimOperation::Associators:
    case CimOperation::AssociatorNames:
    case CimOperation::References:
    case CimOperation::ReferenceNames:
      return true;
    case CimOperation::GetClass:
    case CimOperation::GetInstance:
    case CimOperation::CreateInstance:
    case CimOperation::ModifyInstance:
    case CimOperation::DeleteInstance:
    case CimOperation::GetProperty:
    case CimOperation::SetProperty:
    case CimOperation::MethodCall:
      return false;
  }
  return false;
}

RouteKind expectedRoute(CimOperation operation) {
  switch (operation) {
    case CimOperation::GetClass:
      return RouteKind::ClassRepository;
    case CimOperation::EnumerateClasses:
    case CimOperation::EnumerateClassNames:
      return RouteKind::ClassTree;
    case CimOperation::EnumerateInstances:
    case CimOperation::EnumerateInstanceNames:
      return RouteKind::ClassFamily;
    case CimOperation::Associators:
    case CimOperation::AssociatorNames:
    case CimOperation::References:
    case CimOperation::ReferenceNames:
      return RouteKind::Association;
    case CimOperation::GetInstance:
    case CimOperation::CreateInstance:
    case CimOperation::ModifyInstance:
    case CimOperation::DeleteInstance:
    case CimOperation::GetProperty:
    case CimOperation::SetProperty:
    case CimOperation::MethodCall:
      return RouteKind::SingleProvider;
  }
  return RouteKind::SingleProvider;
}

std::string folded(std::string_view text) {
  std::string result(text);
  std::transform(result.begin(), result.end(), result.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return result;
}

bool fieldFitsKind(const ParameterDescriptor& parameter) {
  switch (parameter.kind) {
    case ParameterKind::ClassName:
    case ParameterKind::String:
      return std::holds_alternative<TOVString CimRequest::*>(parameter.field) &&
             std::get<TOVString CimRequest::*>(parameter.field) != nullptr;
    case ParameterKind::Boolean:
      return std::holds_alternative<bool CimRequest::*>(parameter.field) &&
             std::get<bool CimRequest::*>(parameter.field) != nullptr;
    default:
      return std::holds_alternative<std::monostate>(parameter.field);
  }
}

TEST(OperationsTest, DescribesEveryOperation) {
  for (const CimOperation operation : kEveryOperation) {
    EXPECT_EQ(describe(operation).operation, operation) << static_cast<int>(operation);
  }
}

TEST(OperationsTest, HoldsOneDescriptorPerOperation) {
  std::set<CimOperation> described;
  for (const OperationDescriptor& descriptor : allOperations()) {
    EXPECT_TRUE(described.insert(descriptor.operation).second)
        << "operation " << static_cast<int>(descriptor.operation) << " is described twice";
  }
  EXPECT_EQ(described.size(), std::size(kEveryOperation));
}

TEST(OperationsTest, NamesEveryIntrinsicOperationOnce) {
  std::set<std::string> names;
  for (const OperationDescriptor& descriptor : allOperations()) {
    if (descriptor.operation == CimOperation::MethodCall) continue;
    ASSERT_FALSE(descriptor.intrinsicName.empty()) << static_cast<int>(descriptor.operation);
    EXPECT_TRUE(names.insert(folded(descriptor.intrinsicName)).second)
        << descriptor.intrinsicName << " is named twice";
  }
}

TEST(OperationsTest, FindsAnIntrinsicOperationByItsExactName) {
  for (const OperationDescriptor& descriptor : allOperations()) {
    if (descriptor.intrinsicName.empty()) continue;
    EXPECT_EQ(findOperation(descriptor.intrinsicName), &descriptor) << descriptor.intrinsicName;
  }
  EXPECT_EQ(findOperation("GetInstance")->operation, CimOperation::GetInstance);
  EXPECT_EQ(findOperation("getinstance"), nullptr);
  EXPECT_EQ(findOperation("ExecQuery"), nullptr);
}

TEST(OperationsTest, DoesNotFindTheExtrinsicMethodCallByName) {
  EXPECT_TRUE(describe(CimOperation::MethodCall).intrinsicName.empty());
  EXPECT_EQ(findOperation(""), nullptr);
  EXPECT_EQ(findOperation("MethodCall"), nullptr);
  EXPECT_TRUE(describe(CimOperation::MethodCall).parameters.empty());
}

TEST(OperationsTest, StreamsTheOperationsThatReturnLists) {
  for (const CimOperation operation : kEveryOperation) {
    EXPECT_EQ(describe(operation).streamed, returnsAList(operation)) << static_cast<int>(operation);
    EXPECT_EQ(isStreamed(operation), returnsAList(operation)) << static_cast<int>(operation);
  }
}

TEST(OperationsTest, RoutesEachOperationByItsKind) {
  for (const CimOperation operation : kEveryOperation) {
    EXPECT_EQ(describe(operation).route, expectedRoute(operation)) << static_cast<int>(operation);
  }
}

TEST(OperationsTest, NamesTheDispatcherHandlerThatRunsEachOperation) {
  for (const OperationDescriptor& descriptor : kest::server::allOperations()) {
    EXPECT_NE(descriptor.run, nullptr) << descriptor.intrinsicName;
  }
  EXPECT_EQ(kest::server::describe(CimOperation::EnumerateClasses).run,
            kest::server::describe(CimOperation::GetClass).run);
  EXPECT_NE(kest::server::describe(CimOperation::References).run,
            kest::server::describe(CimOperation::ReferenceNames).run);
}

TEST(OperationsTest, NamesEachParameterOfAnOperationOnce) {
  for (const OperationDescriptor& descriptor : allOperations()) {
    std::set<std::string> names;
    for (const ParameterDescriptor& parameter : descriptor.parameters) {
      EXPECT_FALSE(parameter.name.empty()) << descriptor.intrinsicName;
      EXPECT_TRUE(names.insert(folded(parameter.name)).second)
          << descriptor.intrinsicName << " lists " << parameter.name << " twice";
    }
  }
}

TEST(OperationsTest, GivesEveryParameterAFieldOfItsKind) {
  for (const OperationDescriptor& descriptor : allOperations()) {
    for (const ParameterDescriptor& parameter : descriptor.parameters) {
      EXPECT_TRUE(fieldFitsKind(parameter)) << descriptor.intrinsicName << " " << parameter.name;
    }
  }
}

TEST(OperationsTest, AddressesAtMostOneObjectPerOperation) {
  for (const OperationDescriptor& descriptor : allOperations()) {
    int addressing = 0;
    for (const ParameterDescriptor& parameter : descriptor.parameters) {
      switch (parameter.kind) {
        case ParameterKind::InstanceName:
        case ParameterKind::ObjectName:
        case ParameterKind::Instance:
        case ParameterKind::NamedInstance:
          EXPECT_TRUE(parameter.required) << descriptor.intrinsicName << " " << parameter.name;
          ++addressing;
          break;
        default:
          break;
      }
    }
    EXPECT_LE(addressing, 1) << descriptor.intrinsicName;
  }
}

TEST(OperationsTest, ReadsAPropertyValueAfterTheObjectAndPropertyThatTypeIt) {
  int propertyValues = 0;
  for (const OperationDescriptor& descriptor : allOperations()) {
    bool object = false;
    bool property = false;
    for (const ParameterDescriptor& parameter : descriptor.parameters) {
      if (parameter.kind == ParameterKind::InstanceName ||
          parameter.kind == ParameterKind::ObjectName) {
        object = true;
      }
      if (parameter.kind == ParameterKind::String && parameter.required &&
          std::get<TOVString CimRequest::*>(parameter.field) == &CimRequest::propertyName) {
        property = true;
      }
      if (parameter.kind == ParameterKind::PropertyValue) {
        ++propertyValues;
        EXPECT_TRUE(object && property) << descriptor.intrinsicName;
      }
    }
  }
  EXPECT_EQ(propertyValues, 1);
}

TEST(OperationsTest, GivesTheDefaultsOfGetClassAndEnumerateInstances) {
  const auto defaultOf = [](CimOperation operation, std::string_view name) {
    for (const ParameterDescriptor& parameter : describe(operation).parameters) {
      if (parameter.name == name) return parameter.defaultValue;
    }
    throw std::out_of_range(std::string(name));
  };
  EXPECT_TRUE(defaultOf(CimOperation::GetClass, "LocalOnly"));
  EXPECT_TRUE(defaultOf(CimOperation::GetClass, "IncludeQualifiers"));
  EXPECT_FALSE(defaultOf(CimOperation::GetInstance, "LocalOnly"));
  EXPECT_TRUE(defaultOf(CimOperation::EnumerateInstances, "DeepInheritance"));
  EXPECT_FALSE(defaultOf(CimOperation::EnumerateClasses, "DeepInheritance"));
  EXPECT_TRUE(defaultOf(CimOperation::ModifyInstance, "IncludeQualifiers"));
}

TEST(OperationsTest, RefusesToDescribeAValueThatIsNoOperation) {
  EXPECT_THROW(describe(static_cast<CimOperation>(1000)), std::out_of_range);
}

}  // namespace

TEST(OperationsTest, SupportsTheFunctionalProfilesWhoseEveryOperationHasAHandler) {
  std::vector<std::string> names;
  for (const TOVString& profile : kest::server::supportedFunctionalProfiles())
    names.push_back(profile.toStdString());
  EXPECT_EQ(names, (std::vector<std::string>{"Basic Read", "Basic Write", "Instance Manipulation",
                                             "Association Traversal"}));
}
