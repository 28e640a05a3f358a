#include "host/List.h"

#include <gtest/gtest.h>

#include <vector>

#include "host/SmartPointer.h"
#include "host/String.h"

namespace {

std::vector<int> contents(const TOVValSlist<int>& list) { return {list.begin(), list.end()}; }

TOVValSlist<int> listOf(std::initializer_list<int> values) {
  TOVValSlist<int> list;
  for (int v : values) list.append(v);
  return list;
}

}  // namespace

TEST(TOVValSlistTest, NewListIsEmpty) {
  TOVValSlist<int> list;
  EXPECT_TRUE(list.isEmpty());
  EXPECT_EQ(list.entries(), 0u);
  EXPECT_EQ(list.begin(), list.end());
}

TEST(TOVValSlistTest, AppendKeepsInsertionOrder) {
  EXPECT_EQ(contents(listOf({3, 1, 2})), (std::vector<int>{3, 1, 2}));
}

TEST(TOVValSlistTest, InsertAtPlacesBeforeTheIndexAndAppendsAtTheEnd) {
  TOVValSlist<int> list = listOf({1, 3});
  list.insertAt(1, 2);
  list.insertAt(0, 0);
  list.insertAt(list.entries(), 4);
  EXPECT_EQ(contents(list), (std::vector<int>{0, 1, 2, 3, 4}));
}

TEST(TOVValSlistTest, InsertAtPastTheEndThrows) {
  TOVValSlist<int> list = listOf({1});
  EXPECT_THROW(list.insertAt(2, 9), TovaBaseException);
  EXPECT_EQ(contents(list), (std::vector<int>{1}));
}

TEST(TOVValSlistTest, RemoveAtThenAppendMovesAnElementToTheEnd) {
  TOVValSlist<int> list = listOf({1, 2, 3});
  EXPECT_EQ(list.removeAt(0), 1);
  list.append(9);
  EXPECT_EQ(contents(list), (std::vector<int>{2, 3, 9}));
}

TEST(TOVValSlistTest, RemoveObjectRemovesOnlyTheFirstEqualElement) {
  TOVValSlist<int> list = listOf({5, 7, 5});
  EXPECT_TRUE(list.removeObject(5));
  EXPECT_EQ(contents(list), (std::vector<int>{7, 5}));
  EXPECT_FALSE(list.removeObject(42));
}

TEST(TOVValSlistTest, SmartPointerElementsAreMatchedByIdentity) {
  TOVValSlist<TOVSmrPtr<TOVString>> list;
  TOVSmrPtr<TOVString> a(new TOVString("same"));
  TOVSmrPtr<TOVString> b(new TOVString("same"));
  list.append(a);
  EXPECT_TRUE(list.contains(a));
  EXPECT_FALSE(list.contains(b));
  EXPECT_FALSE(list.removeObject(b));
  EXPECT_TRUE(list.removeObject(a));
  EXPECT_TRUE(list.isEmpty());
}

TEST(TOVValSlistTest, AtOutOfRangeThrowsIndexOutOfRange) {
  TOVValSlist<int> list = listOf({1, 2});
  EXPECT_EQ(list.at(1), 2);
  try {
    (void)list.at(2);
    FAIL() << "no exception";
  } catch (const TovaBaseException& e) {
    EXPECT_EQ(e.getMessage(), "index out of range");
    EXPECT_EQ(e.getWhere(), "TOVValSlist::at");
  }
  EXPECT_THROW(list.removeAt(2), TovaBaseException);
}

TEST(TOVValSlistTest, CopyIsElementWise) {
  TOVValSlist<TOVSmrPtr<int>> list;
  TOVSmrPtr<int> item(new int(4));
  list.append(item);
  TOVValSlist<TOVSmrPtr<int>> copy(list);
  copy.append(TOVSmrPtr<int>(new int(5)));
  EXPECT_EQ(list.entries(), 1u);
  EXPECT_EQ(copy.entries(), 2u);
  EXPECT_TRUE(copy.at(0) == item);
  EXPECT_EQ(item.useCount(), 3);
}

TEST(TOVValSlistIteratorTest, VisitsEveryElementInOrderThroughKey) {
  TOVValSlist<TOVString> list;
  list.append("a");
  list.append("b");
  TOVValSlistIterator<TOVString> iter(list);
  std::vector<std::string> seen;
  while (iter()) seen.push_back(iter.key().toStdString());
  EXPECT_EQ(seen, (std::vector<std::string>{"a", "b"}));
  EXPECT_FALSE(iter());
}

TEST(TOVValSlistIteratorTest, KeyBeforeTheFirstOrPastTheLastThrows) {
  TOVValSlist<int> list = listOf({1});
  TOVValSlistIterator<int> iter(list);
  EXPECT_THROW(iter.key(), TovaBaseException);
  ASSERT_TRUE(iter());
  EXPECT_EQ(iter.key(), 1);
  EXPECT_FALSE(iter());
  EXPECT_THROW(iter.key(), TovaBaseException);
}

TEST(TOVValSlistIteratorTest, EmptyListYieldsNothing) {
  TOVValSlist<int> list;
  TOVValSlistIterator<int> iter(list);
  EXPECT_FALSE(iter());
  EXPECT_FALSE(iter.next());
}
