#include "host/SmartPointer.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "host/Exception.h"

namespace {

struct Base {
  virtual ~Base() = default;
  int value = 1;
};

struct Derived : Base {
  explicit Derived(int* destroyed) : destroyed(destroyed) {}
  ~Derived() override { ++*destroyed; }
  int* destroyed;
};

struct Other : Base {};

// Only declared here; defined at the end of the file. A holder of a
// TOVSmrPtr<Incomplete> can be copied and destroyed without the definition.
struct Incomplete;
struct Holder {
  TOVSmrPtr<Incomplete> member;
};
Holder makeHolder(int* destroyed);

}  // namespace

TEST(TOVSmrPtrTest, DefaultIsNullAndEqualsNull) {
  TOVSmrPtr<Base> a;
  TOVSmrPtr<Base> b(nullptr);
  EXPECT_TRUE(a.isNull());
  EXPECT_FALSE(static_cast<bool>(a));
  EXPECT_TRUE(a == b);
  EXPECT_TRUE(a == nullptr);
  EXPECT_EQ(a.get(), nullptr);
  EXPECT_EQ(a.useCount(), 0);
}

TEST(TOVSmrPtrTest, CopiesShareOneCountAndTheLastReleaseDeletes) {
  int destroyed = 0;
  {
    TOVSmrPtr<Derived> first(new Derived(&destroyed));
    {
      TOVSmrPtr<Derived> second = first;
      EXPECT_EQ(first.useCount(), 2);
      EXPECT_EQ(second.get(), first.get());
    }
    EXPECT_EQ(first.useCount(), 1);
    EXPECT_EQ(destroyed, 0);
  }
  EXPECT_EQ(destroyed, 1);
}

TEST(TOVSmrPtrTest, ConvertingToABaseSharesTheCountAndDeletesTheDerivedObject) {
  int destroyed = 0;
  {
    TOVSmrPtr<Derived> derived(new Derived(&destroyed));
    TOVSmrPtr<Base> base = derived;
    EXPECT_EQ(derived.useCount(), 2);
    derived.reset();
    EXPECT_EQ(base.useCount(), 1);
    EXPECT_EQ(destroyed, 0);
  }
  EXPECT_EQ(destroyed, 1);
}

TEST(TOVSmrPtrTest, StaticAndDynamicCastsShareTheCount) {
  int destroyed = 0;
  TOVSmrPtr<Base> base(new Derived(&destroyed));
  TOVSmrPtr<Derived> down = base.staticCast<Derived>();
  EXPECT_EQ(down.get(), base.get());
  EXPECT_EQ(base.useCount(), 2);
  TOVSmrPtr<Derived> checked = base.dynamicCast<Derived>();
  EXPECT_EQ(checked.get(), base.get());
  EXPECT_EQ(base.useCount(), 3);
}

TEST(TOVSmrPtrTest, DynamicCastToTheWrongTypeIsNull) {
  TOVSmrPtr<Base> base(new Other);
  EXPECT_TRUE(base.dynamicCast<Derived>().isNull());
  EXPECT_EQ(base.useCount(), 1);
}

TEST(TOVSmrPtrTest, EqualityIsIdentityOfThePointee) {
  TOVSmrPtr<Base> a(new Base);
  TOVSmrPtr<Base> b(new Base);
  TOVSmrPtr<Base> a2 = a;
  EXPECT_TRUE(a == a2);
  EXPECT_FALSE(a == b);
  EXPECT_FALSE(a == nullptr);
}

TEST(TOVSmrPtrTest, ArrowOnNullThrowsTheNullPointerError) {
  TOVSmrPtr<Base> empty;
  try {
    (void)empty->value;
    FAIL() << "no exception";
  } catch (const TOVNullPointerException& e) {
    EXPECT_EQ(e.getWhere(), "TOVSmrPtr::operator->");
    EXPECT_EQ(e.getMessage(), "null pointer dereferenced");
    EXPECT_EQ(e.getCode(), 0);
  }
}

TEST(TOVSmrPtrTest, StarOnNullThrowsATovaBaseException) {
  TOVSmrPtr<Base> empty;
  EXPECT_THROW((void)(*empty).value, TovaBaseException);
}

TEST(TOVSmrPtrTest, GetOnNullReturnsNullWithoutThrowing) {
  TOVSmrPtr<Base> empty;
  EXPECT_NO_THROW(EXPECT_EQ(empty.get(), nullptr));
}

TEST(TOVSmrPtrTest, PointerToAnIncompleteTypeIsCopiedAndReleased) {
  int destroyed = 0;
  {
    Holder holder = makeHolder(&destroyed);
    Holder copy = holder;
    EXPECT_EQ(copy.member.useCount(), 2);
  }
  EXPECT_EQ(destroyed, 1);
}

TEST(TOVSmrPtrTest, CopiesOnManyThreadsKeepTheCountExact) {
  int destroyed = 0;
  {
    TOVSmrPtr<Base> shared(new Derived(&destroyed));
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
      threads.emplace_back([shared] {
        for (int i = 0; i < 10000; ++i) {
          TOVSmrPtr<Base> copy = shared;
          ASSERT_EQ(copy->value, 1);
        }
      });
    }
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(shared.useCount(), 1);
  }
  EXPECT_EQ(destroyed, 1);
}

namespace {

struct Incomplete {
  explicit Incomplete(int* destroyed) : destroyed(destroyed) {}
  ~Incomplete() { ++*destroyed; }
  int* destroyed;
};

Holder makeHolder(int* destroyed) {
  return Holder{TOVSmrPtr<Incomplete>(new Incomplete(destroyed))};
}

}  // namespace

TEST(TOVSmrPtrTest, MakeBuildsTheObjectAndSharesLikeAnyOtherPointer) {
  int destroyed = 0;
  {
    TOVSmrPtr<Derived> made = makeTOVSmrPtr<Derived>(&destroyed);
    TOVSmrPtr<Base> base = made;
    EXPECT_EQ(made.useCount(), 2);
    EXPECT_EQ(base->value, 1);
    EXPECT_TRUE(base.dynamicCast<Derived>() == made);
  }
  EXPECT_EQ(destroyed, 1);
}
