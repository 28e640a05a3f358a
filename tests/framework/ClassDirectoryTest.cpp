#include "framework/ClassDirectory.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "framework/Class.h"
#include "framework/InstanceDirectory.h"
#include "host/List.h"
#include "host/Map.h"
#include "host/SmartPointer.h"
#include "host/String.h"

using kest::pf::Class;
using kest::pf::ClassDirectory;
using kest::pf::InstanceDirectory;

namespace {

TOVSmrPtr<Class> declare(const char* name, bool isAssociation = false) {
  return TOVSmrPtr<Class>(new Class(name, nullptr, nullptr, isAssociation, nullptr));
}

TOVSmrPtr<InstanceDirectory> directoryFor(const TOVSmrPtr<Class>& cls) {
  return TOVSmrPtr<InstanceDirectory>(new InstanceDirectory(cls->isAssociation()));
}

std::vector<std::string> namesOf(const TOVSmrPtr<TOVValSlist<TOVSmrPtr<Class>>>& list) {
  std::vector<std::string> result;
  for (const TOVSmrPtr<Class>& cls : *list) result.push_back(cls->getClassName().toStdString());
  return result;
}

TEST(ClassDirectoryTest, LookupIgnoresCaseAndKeepsTheDeclaredSpelling) {
  ClassDirectory directory;
  const TOVSmrPtr<Class> cls = declare("CIM_Foo");
  const TOVSmrPtr<InstanceDirectory> instances = directoryFor(cls);
  directory.insert("CIM_Foo", instances, cls);

  const TOVSmrPtr<Class> found = directory.lookupClassDeclaration("cim_foo");

  EXPECT_EQ(found, cls);
  EXPECT_EQ(found->getClassName(), "CIM_Foo");
  EXPECT_EQ(directory.lookupClassDeclaration("CIM_FOO"), cls);
  EXPECT_EQ(directory.lookupInstanceDirectory("cIm_FoO"), instances);
}

TEST(ClassDirectoryTest, LookupDoesNotChangeTheCallersName) {
  ClassDirectory directory;
  const TOVSmrPtr<Class> cls = declare("CIM_Foo");
  directory.insert("CIM_Foo", directoryFor(cls), cls);
  const TOVString asked("cim_foo");

  ASSERT_EQ(directory.lookupClassDeclaration(asked), cls);
  ASSERT_FALSE(directory.lookupInstanceDirectory(asked).isNull());
  ASSERT_TRUE(directory.remove(asked));

  EXPECT_EQ(asked, "cim_foo");
}

TEST(ClassDirectoryTest, EntriesKeepTheirOwnDeclarationAndDirectory) {
  ClassDirectory directory;
  const TOVSmrPtr<Class> foo = declare("CIM_Foo");
  const TOVSmrPtr<Class> link = declare("CIM_FooLink", true);
  const TOVSmrPtr<InstanceDirectory> fooInstances = directoryFor(foo);
  const TOVSmrPtr<InstanceDirectory> linkInstances = directoryFor(link);
  directory.insert("CIM_Foo", fooInstances, foo);
  directory.insert("CIM_FooLink", linkInstances, link);

  EXPECT_EQ(directory.lookupClassDeclaration("CIM_Foo"), foo);
  EXPECT_EQ(directory.lookupInstanceDirectory("CIM_Foo"), fooInstances);
  EXPECT_EQ(directory.lookupClassDeclaration("CIM_FooLink"), link);
  EXPECT_EQ(directory.lookupInstanceDirectory("CIM_FooLink"), linkInstances);
  EXPECT_TRUE(directory.lookupInstanceDirectory("CIM_FooLink")->isAssociation());
}

TEST(ClassDirectoryTest, InsertingTheSameNameInOtherCaseReplacesTheWholeEntry) {
  ClassDirectory directory;
  const TOVSmrPtr<Class> first = declare("CIM_Foo");
  const TOVSmrPtr<Class> second = declare("cim_foo");
  const TOVSmrPtr<InstanceDirectory> firstInstances = directoryFor(first);
  const TOVSmrPtr<InstanceDirectory> secondInstances = directoryFor(second);

  directory.insert("CIM_Foo", firstInstances, first);
  directory.insert("cim_foo", secondInstances, second);

  EXPECT_EQ(directory.lookupClassDeclaration("CIM_Foo"), second);
  EXPECT_EQ(directory.lookupInstanceDirectory("CIM_Foo"), secondInstances);
  const TOVSmrPtr<TOVValSlist<TOVSmrPtr<Class>>> all = directory.getClassDeclarations();
  ASSERT_EQ(all->entries(), 1u);
  EXPECT_EQ(all->at(0), second);
  EXPECT_EQ(first.useCount(), 1);
  EXPECT_EQ(firstInstances.useCount(), 1);
}

TEST(ClassDirectoryTest, NameUsedAsKeyMayDifferFromTheDeclaredName) {
  ClassDirectory directory;
  const TOVSmrPtr<Class> cls = declare("CIM_Foo");
  directory.insert("Test_Alias", directoryFor(cls), cls);

  EXPECT_EQ(directory.lookupClassDeclaration("test_alias"), cls);
  EXPECT_TRUE(directory.lookupClassDeclaration("CIM_Foo").isNull());
}

TEST(ClassDirectoryTest, NullPartsOfAnEntryLookUpAsNull) {
  ClassDirectory directory;
  const TOVSmrPtr<Class> cls = declare("CIM_Foo");
  const TOVSmrPtr<InstanceDirectory> instances = directoryFor(cls);
  directory.insert("CIM_Foo", instances, TOVSmrPtr<Class>());
  directory.insert("CIM_Bar", TOVSmrPtr<InstanceDirectory>(), cls);

  EXPECT_TRUE(directory.lookupClassDeclaration("CIM_Foo").isNull());
  EXPECT_EQ(directory.lookupInstanceDirectory("CIM_Foo"), instances);
  EXPECT_EQ(directory.lookupClassDeclaration("CIM_Bar"), cls);
  EXPECT_TRUE(directory.lookupInstanceDirectory("CIM_Bar").isNull());
}

TEST(ClassDirectoryTest, RemoveDropsTheEntryAndReportsIt) {
  ClassDirectory directory;
  const TOVSmrPtr<Class> foo = declare("CIM_Foo");
  const TOVSmrPtr<Class> bar = declare("CIM_Bar");
  directory.insert("CIM_Foo", directoryFor(foo), foo);
  directory.insert("CIM_Bar", directoryFor(bar), bar);

  EXPECT_TRUE(directory.remove("cim_FOO"));
  EXPECT_FALSE(directory.remove("CIM_Foo"));

  EXPECT_TRUE(directory.lookupClassDeclaration("CIM_Foo").isNull());
  EXPECT_TRUE(directory.lookupInstanceDirectory("CIM_Foo").isNull());
  EXPECT_EQ(directory.lookupClassDeclaration("CIM_Bar"), bar);
  EXPECT_EQ(namesOf(directory.getClassDeclarations()), (std::vector<std::string>{"CIM_Bar"}));
}

TEST(ClassDirectoryTest, RemoveOfAnUndeclaredClassReturnsFalse) {
  ClassDirectory directory;
  EXPECT_FALSE(directory.remove("CIM_Foo"));

  const TOVSmrPtr<Class> bar = declare("CIM_Bar");
  directory.insert("CIM_Bar", directoryFor(bar), bar);
  EXPECT_FALSE(directory.remove("CIM_Foo"));
  EXPECT_EQ(directory.lookupClassDeclaration("CIM_Bar"), bar);
}

TEST(ClassDirectoryTest, LookupsOfAnUndeclaredClassReturnNull) {
  ClassDirectory directory;
  EXPECT_TRUE(directory.lookupClassDeclaration("CIM_Foo").isNull());
  EXPECT_TRUE(directory.lookupInstanceDirectory("CIM_Foo").isNull());

  const TOVSmrPtr<Class> bar = declare("CIM_Bar");
  directory.insert("CIM_Bar", directoryFor(bar), bar);
  EXPECT_TRUE(directory.lookupClassDeclaration("CIM_Foo").isNull());
  EXPECT_TRUE(directory.lookupInstanceDirectory("CIM_Foo").isNull());
  EXPECT_TRUE(directory.lookupClassDeclaration("CIM_Ba").isNull());
}

TEST(ClassDirectoryTest, ClassDeclarationsOfAnEmptyDirectoryIsAnEmptyList) {
  const ClassDirectory directory;

  const TOVSmrPtr<TOVValSlist<TOVSmrPtr<Class>>> all = directory.getClassDeclarations();

  ASSERT_FALSE(all.isNull());
  EXPECT_TRUE(all->isEmpty());
}

TEST(ClassDirectoryTest, ClassDeclarationsFollowTheOrderOfAMapOfUpperCasedNames) {
  ClassDirectory directory;
  TOVValMap<TOVString, int> reference(hashKeyTOVString, 150);
  std::vector<std::string> inserted;
  for (int i = 0; i < 40; ++i) {
    const std::string name = "Test_Class" + std::to_string(i);
    const TOVSmrPtr<Class> cls = declare(name.c_str());
    directory.insert(name.c_str(), directoryFor(cls), cls);
    TOVString key(name);
    reference.insert(key.toUpper(), i);
    inserted.push_back(name);
  }
  std::vector<std::string> expected;
  for (const auto& entry : reference) {
    expected.push_back(inserted[static_cast<std::size_t>(entry.value())]);
  }
  ASSERT_NE(expected, inserted);

  EXPECT_EQ(namesOf(directory.getClassDeclarations()), expected);
}

TEST(ClassDirectoryTest, ClassDeclarationsListEveryClassOnceInANewList) {
  ClassDirectory directory;
  for (const char* name : {"CIM_Foo", "CIM_Bar", "CIM_Baz"}) {
    const TOVSmrPtr<Class> cls = declare(name);
    directory.insert(name, directoryFor(cls), cls);
  }

  const TOVSmrPtr<TOVValSlist<TOVSmrPtr<Class>>> first = directory.getClassDeclarations();
  first->clear();
  const TOVSmrPtr<TOVValSlist<TOVSmrPtr<Class>>> second = directory.getClassDeclarations();

  EXPECT_NE(first, second);
  std::vector<std::string> names = namesOf(second);
  std::sort(names.begin(), names.end());
  EXPECT_EQ(names, (std::vector<std::string>{"CIM_Bar", "CIM_Baz", "CIM_Foo"}));
}

}  // namespace
