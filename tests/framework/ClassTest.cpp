#include "framework/Class.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <vector>

#include "framework/Context.h"
#include "framework/Instance.h"
#include "framework/InstanceManager.h"
#include "host/InstanceName.h"
#include "host/List.h"
#include "host/Object.h"
#include "host/SmartPointer.h"
#include "host/String.h"
#include "support/ObjectModelBuilders.h"
#include "support/TestInstances.h"

using kest::pf::Class;
using kest::pf::Context;
using kest::pf::Instance;
using kest::pf::InstanceManager;
using kest::testing::make;
using kest::testing::makeName;
using kest::testing::TestInstance;

namespace {

// Tree links are strong both ways; clearing them when a test ends lets the
// classes be freed.
class TreeUnlinker {
 public:
  TreeUnlinker(std::initializer_list<TOVSmrPtr<Class>> classes) : _classes(classes) {}
  ~TreeUnlinker() {
    for (const TOVSmrPtr<Class>& cls : _classes) {
      cls->setBaseClass(TOVSmrPtr<Class>());
      cls->getChildClasses()->clear();
    }
  }
  TreeUnlinker(const TreeUnlinker&) = delete;
  TreeUnlinker& operator=(const TreeUnlinker&) = delete;

 private:
  std::vector<TOVSmrPtr<Class>> _classes;
};

TOVSmrPtr<Class> plainClass(const char* name) {
  return TOVSmrPtr<Class>(new Class(name, nullptr, nullptr, false, nullptr));
}

// Links child under parent both ways, as a provider does.
void link(const TOVSmrPtr<Class>& parent, const TOVSmrPtr<Class>& child) {
  child->setBaseClass(parent);
  parent->setChildClass(child);
}

std::vector<TOVString> namesOf(const Class::ClassList& list) {
  std::vector<TOVString> result;
  for (const TOVSmrPtr<Class>& cls : *list) result.push_back(cls->getClassName());
  return result;
}

// What the factory functions below hand out and how often they were called.
TOVSmrPtr<Instance> gCreated;
Class::InstanceList gCreatedAll;
int gCreateCalls = 0;
int gCreateAllCalls = 0;

TOVSmrPtr<Instance> createOne() {
  ++gCreateCalls;
  return gCreated;
}

Class::InstanceList createAll() {
  ++gCreateAllCalls;
  return gCreatedAll;
}

// The arguments the associators function last received.
struct AssociatorsCall {
  int calls = 0;
  TOVSmrPtr<ITovaInstanceName> instanceName;
  TOVString nameSpace;
  Context* context = nullptr;
  TOVString resultClassName;
};
AssociatorsCall gAssociatorsCall;
Class::ObjectList gAssociatorsResult;

Class::ObjectList recordAssociators(const TOVSmrPtr<ITovaInstanceName>& instanceName,
                                    const TOVString& nameSpace, Context* context, bool& handled,
                                    const TOVString& resultClassName) {
  ++gAssociatorsCall.calls;
  gAssociatorsCall.instanceName = instanceName;
  gAssociatorsCall.nameSpace = nameSpace;
  gAssociatorsCall.context = context;
  gAssociatorsCall.resultClassName = resultClassName;
  handled = true;
  return gAssociatorsResult;
}

class ClassTest : public ::testing::Test {
 protected:
  void SetUp() override {
    gCreated = TOVSmrPtr<Instance>(new TestInstance(_manager, "Test_Widget"));
    gCreatedAll = Class::InstanceList(new TOVValSlist<TOVSmrPtr<Instance>>());
    gCreatedAll->append(gCreated);
    gCreateCalls = 0;
    gCreateAllCalls = 0;
    gAssociatorsCall = AssociatorsCall();
    gAssociatorsResult = Class::ObjectList(new TOVValSlist<TOVSmrPtr<ITovaObject>>());
  }
  void TearDown() override {
    gCreated.reset();
    gCreatedAll.reset();
    gAssociatorsCall = AssociatorsCall();
    gAssociatorsResult.reset();
  }

  InstanceManager _manager;
};

TEST_F(ClassTest, ConstructorKeepsNameAndFlagAndStartsUnlinkedWithEmptyChildList) {
  const Class cls("Test_Widget", nullptr, nullptr, true, nullptr);

  EXPECT_EQ(cls.getClassName(), "Test_Widget");
  EXPECT_TRUE(cls.isAssociation());
  EXPECT_TRUE(cls.getBaseClass().isNull());
  ASSERT_FALSE(cls.getChildClasses().isNull());
  EXPECT_TRUE(cls.getChildClasses()->isEmpty());
}

TEST_F(ClassTest, ConstructorCopiesTheNameText) {
  TOVString name("Test_Widget");
  const Class cls(name, nullptr, nullptr, false, nullptr);
  name += "_Changed";

  EXPECT_EQ(cls.getClassName(), "Test_Widget");
  EXPECT_FALSE(cls.isAssociation());
}

TEST_F(ClassTest, SetChildClassAppendsInOrderWithoutDuplicateCheck) {
  const TOVSmrPtr<Class> parent = plainClass("Test_Parent");
  const TOVSmrPtr<Class> first = plainClass("Test_First");
  const TOVSmrPtr<Class> second = plainClass("Test_Second");

  parent->setChildClass(first);
  parent->setChildClass(second);
  parent->setChildClass(first);

  const Class::ClassList children = parent->getChildClasses();
  ASSERT_EQ(children->entries(), 3u);
  EXPECT_EQ(children->at(0), first);
  EXPECT_EQ(children->at(1), second);
  EXPECT_EQ(children->at(2), first);
  EXPECT_TRUE(first->getBaseClass().isNull());
}

TEST_F(ClassTest, SetBaseClassDoesNotAddAChild) {
  const TOVSmrPtr<Class> parent = plainClass("Test_Parent");
  const TOVSmrPtr<Class> child = plainClass("Test_Child");

  child->setBaseClass(parent);
  TreeUnlinker unlink{parent, child};

  EXPECT_EQ(child->getBaseClass(), parent);
  EXPECT_TRUE(parent->getChildClasses()->isEmpty());
}

TEST_F(ClassTest, CopyKeepsNameFlagAndFunctions) {
  const Class original("Test_Widget", createAll, createOne, true, recordAssociators);
  const Class copy(original);

  EXPECT_EQ(copy.getClassName(), "Test_Widget");
  EXPECT_TRUE(copy.isAssociation());
  EXPECT_EQ(copy.createInstance(), gCreated);
  EXPECT_EQ(copy.createAllInstances(), gCreatedAll);
  bool handled = false;
  EXPECT_EQ(copy.associators(TOVSmrPtr<ITovaInstanceName>(), "root/test", nullptr, handled, ""),
            gAssociatorsResult);
  EXPECT_EQ(gCreateCalls, 1);
  EXPECT_EQ(gCreateAllCalls, 1);
  EXPECT_EQ(gAssociatorsCall.calls, 1);
}

TEST_F(ClassTest, CopySharesTheChildListInBothDirections) {
  const TOVSmrPtr<Class> original = plainClass("Test_Parent");
  const TOVSmrPtr<Class> copy(new Class(*original));
  const TOVSmrPtr<Class> first = plainClass("Test_First");
  const TOVSmrPtr<Class> second = plainClass("Test_Second");

  EXPECT_EQ(copy->getChildClasses(), original->getChildClasses());
  original->setChildClass(first);
  copy->setChildClass(second);

  EXPECT_EQ(namesOf(copy->getChildClasses()),
            (std::vector<TOVString>{"Test_First", "Test_Second"}));
  EXPECT_EQ(namesOf(original->getChildClasses()),
            (std::vector<TOVString>{"Test_First", "Test_Second"}));
}

TEST_F(ClassTest, CopySharesTheBasePointer) {
  const TOVSmrPtr<Class> base = plainClass("Test_Base");
  const TOVSmrPtr<Class> child = plainClass("Test_Child");
  link(base, child);
  TreeUnlinker unlink{base, child};

  const Class copy(*child);

  EXPECT_EQ(copy.getBaseClass(), base);
}

TEST_F(ClassTest, CreateInstanceReturnsWhatTheFunctionReturns) {
  const Class cls("Test_Widget", nullptr, createOne, false, nullptr);

  EXPECT_EQ(cls.createInstance(), gCreated);
  EXPECT_EQ(cls.createInstance(), gCreated);
  EXPECT_EQ(gCreateCalls, 2);
  EXPECT_EQ(gCreateAllCalls, 0);
}

TEST_F(ClassTest, CreateInstanceWithoutFunctionReturnsNull) {
  const Class cls("Test_Widget", createAll, nullptr, false, nullptr);

  EXPECT_TRUE(cls.createInstance().isNull());
  EXPECT_EQ(gCreateAllCalls, 0);
}

TEST_F(ClassTest, CreateAllInstancesReturnsWhatTheFunctionReturns) {
  const Class cls("Test_Widget", createAll, nullptr, false, nullptr);

  EXPECT_EQ(cls.createAllInstances(), gCreatedAll);
  EXPECT_EQ(gCreateAllCalls, 1);
  EXPECT_EQ(gCreateCalls, 0);
}

TEST_F(ClassTest, CreateAllInstancesWithoutFunctionReturnsNull) {
  const Class cls("Test_Widget", nullptr, createOne, false, nullptr);

  EXPECT_TRUE(cls.createAllInstances().isNull());
  EXPECT_EQ(gCreateCalls, 0);
}

TEST_F(ClassTest, GetInstanceIsAlwaysNull) {
  const Class cls("Test_Widget", createAll, createOne, false, recordAssociators);

  EXPECT_TRUE(cls.getInstance(makeName("Test_Widget", "Id", make("a"))).isNull());
  EXPECT_TRUE(cls.getInstance(TOVSmrPtr<ITovaInstanceName>()).isNull());
  EXPECT_EQ(gCreateCalls, 0);
  EXPECT_EQ(gCreateAllCalls, 0);
}

TEST_F(ClassTest, DeepChildClassesOfLeafWithoutSelfIsEmpty) {
  const Class leaf("Test_Leaf", nullptr, nullptr, false, nullptr);

  const Class::ClassList result = leaf.getDeepChildClasses(false);

  ASSERT_FALSE(result.isNull());
  EXPECT_TRUE(result->isEmpty());
}

TEST_F(ClassTest, DeepChildClassesOfLeafWithSelfHoldsOnlyACopyOfIt) {
  const TOVSmrPtr<Class> leaf(new Class("Test_Leaf", nullptr, createOne, true, nullptr));

  const Class::ClassList result = leaf->getDeepChildClasses(true);

  ASSERT_EQ(result->entries(), 1u);
  const TOVSmrPtr<Class> self = result->at(0);
  EXPECT_NE(self, leaf);
  EXPECT_EQ(self->getClassName(), "Test_Leaf");
  EXPECT_TRUE(self->isAssociation());
  EXPECT_EQ(self->createInstance(), gCreated);
  EXPECT_EQ(self->getChildClasses(), leaf->getChildClasses());
}

TEST_F(ClassTest, DeepChildClassesListsEachChildAfterItsDescendants) {
  const TOVSmrPtr<Class> a = plainClass("A");
  const TOVSmrPtr<Class> b = plainClass("B");
  const TOVSmrPtr<Class> c = plainClass("C");
  const TOVSmrPtr<Class> d = plainClass("D");
  link(a, b);
  link(a, c);
  link(b, d);
  TreeUnlinker unlink{a, b, c, d};

  const Class::ClassList without = a->getDeepChildClasses(false);
  const Class::ClassList with = a->getDeepChildClasses(true);

  EXPECT_EQ(namesOf(without), (std::vector<TOVString>{"D", "B", "C"}));
  ASSERT_EQ(without->entries(), 3u);
  EXPECT_EQ(without->at(0), d);
  EXPECT_EQ(without->at(1), b);
  EXPECT_EQ(without->at(2), c);
  EXPECT_EQ(namesOf(with), (std::vector<TOVString>{"A", "D", "B", "C"}));
  EXPECT_NE(with->at(0), a);
  EXPECT_EQ(with->at(1), d);
}

TEST_F(ClassTest, DeepChildClassesWalksDeeperTreesPostOrder) {
  const TOVSmrPtr<Class> root = plainClass("Root");
  const TOVSmrPtr<Class> b = plainClass("B");
  const TOVSmrPtr<Class> c = plainClass("C");
  const TOVSmrPtr<Class> d = plainClass("D");
  const TOVSmrPtr<Class> e = plainClass("E");
  const TOVSmrPtr<Class> f = plainClass("F");
  const TOVSmrPtr<Class> g = plainClass("G");
  link(root, b);
  link(root, c);
  link(b, d);
  link(b, e);
  link(d, f);
  link(c, g);
  TreeUnlinker unlink{root, b, c, d, e, f, g};

  EXPECT_EQ(namesOf(root->getDeepChildClasses(false)),
            (std::vector<TOVString>{"F", "D", "E", "B", "G", "C"}));
  EXPECT_EQ(namesOf(b->getDeepChildClasses(true)), (std::vector<TOVString>{"B", "F", "D", "E"}));
}

TEST_F(ClassTest, DeepChildClassesListsAClassReachableTwiceTwice) {
  const TOVSmrPtr<Class> root = plainClass("Root");
  const TOVSmrPtr<Class> b = plainClass("B");
  const TOVSmrPtr<Class> c = plainClass("C");
  const TOVSmrPtr<Class> shared = plainClass("Shared");
  link(root, b);
  link(root, c);
  b->setChildClass(shared);
  c->setChildClass(shared);
  TreeUnlinker unlink{root, b, c, shared};

  const Class::ClassList result = root->getDeepChildClasses(false);

  EXPECT_EQ(namesOf(result), (std::vector<TOVString>{"Shared", "B", "Shared", "C"}));
  EXPECT_EQ(result->at(0), result->at(2));
}

TEST_F(ClassTest, DeepChildClassesReturnsANewListEachCall) {
  const TOVSmrPtr<Class> parent = plainClass("Test_Parent");
  const TOVSmrPtr<Class> child = plainClass("Test_Child");
  parent->setChildClass(child);

  const Class::ClassList first = parent->getDeepChildClasses(false);
  first->clear();
  const Class::ClassList second = parent->getDeepChildClasses(false);

  EXPECT_NE(first, second);
  EXPECT_NE(first, parent->getChildClasses());
  ASSERT_EQ(second->entries(), 1u);
  EXPECT_EQ(second->at(0), child);
  EXPECT_EQ(parent->getChildClasses()->entries(), 1u);
}

TEST_F(ClassTest, AssociatorsPassesItsArgumentsAndReturnsTheFunctionResult) {
  const Class cls("Test_Link", nullptr, nullptr, true, recordAssociators);
  const TOVSmrPtr<ITovaInstanceName> name = makeName("Test_Widget", "Id", make("a"));
  Context requestContext;
  Context* const context = &requestContext;
  bool handled = false;

  const Class::ObjectList result =
      cls.associators(name, "root/test", context, handled, "Test_Peer");

  EXPECT_EQ(result, gAssociatorsResult);
  EXPECT_TRUE(handled);
  EXPECT_EQ(gAssociatorsCall.calls, 1);
  EXPECT_EQ(gAssociatorsCall.instanceName, name);
  EXPECT_EQ(gAssociatorsCall.nameSpace, "root/test");
  EXPECT_EQ(gAssociatorsCall.context, context);
  EXPECT_EQ(gAssociatorsCall.resultClassName, "Test_Peer");
}

TEST_F(ClassTest, AssociatorsWithoutFunctionReturnsNullAndLeavesHandledAlone) {
  const Class cls("Test_Link", createAll, createOne, true, nullptr);
  const TOVSmrPtr<ITovaInstanceName> name = makeName("Test_Widget", "Id", make("a"));
  bool handledFalse = false;
  bool handledTrue = true;

  EXPECT_TRUE(cls.associators(name, "root/test", nullptr, handledFalse, "").isNull());
  EXPECT_TRUE(cls.associators(name, "root/test", nullptr, handledTrue, "").isNull());

  EXPECT_FALSE(handledFalse);
  EXPECT_TRUE(handledTrue);
  EXPECT_EQ(gCreateCalls, 0);
  EXPECT_EQ(gCreateAllCalls, 0);
}

}  // namespace
