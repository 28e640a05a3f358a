// The factory interface a poll manager drives.

#include "framework/InstanceFactory.h"

#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "framework/Context.h"
#include "host/SmartPointer.h"
#include "host/String.h"

using kest::pf::Context;
using kest::pf::InstanceFactory;

namespace {

// Hands out a new context per poll and remembers what update() received.
class RecordingFactory : public InstanceFactory {
 public:
  RecordingFactory(const TOVString& providerName, std::vector<TOVString>* destroyed)
      : InstanceFactory(providerName), _destroyed(destroyed) {}
  ~RecordingFactory() override { _destroyed->push_back(getProviderName()); }

  TOVSmrPtr<Context> poll() override { return TOVSmrPtr<Context>(new Context()); }
  void update(TOVSmrPtr<Context>& context) override { updated.push_back(context); }

  std::vector<TOVSmrPtr<Context>> updated;

 private:
  std::vector<TOVString>* _destroyed;
};

// Reports a name of its own instead of the one it was given.
class RenamedFactory : public RecordingFactory {
 public:
  using RecordingFactory::RecordingFactory;
  const TOVString& getProviderName() const override { return _alias; }

 private:
  const TOVString _alias = "Alias";
};

}  // namespace

TEST(InstanceFactoryTest, TheProviderNameIsTheOneGivenAtConstruction) {
  std::vector<TOVString> destroyed;
  const RecordingFactory factory("Array", &destroyed);
  const InstanceFactory& base = factory;

  EXPECT_EQ(base.getProviderName(), "Array");
  EXPECT_EQ(&base.getProviderName(), &base.getProviderName());
}

TEST(InstanceFactoryTest, PollAndUpdateAreCalledThroughTheBase) {
  std::vector<TOVString> destroyed;
  RecordingFactory factory("Array", &destroyed);
  InstanceFactory& base = factory;

  TOVSmrPtr<Context> first = base.poll();
  TOVSmrPtr<Context> second = base.poll();
  base.update(first);
  base.update(second);

  ASSERT_FALSE(first.isNull());
  EXPECT_FALSE(first == second);
  ASSERT_EQ(factory.updated.size(), 2u);
  EXPECT_TRUE(factory.updated[0] == first);
  EXPECT_TRUE(factory.updated[1] == second);
}

TEST(InstanceFactoryTest, GetProviderNameCanBeOverridden) {
  std::vector<TOVString> destroyed;
  const RenamedFactory factory("Array", &destroyed);
  const InstanceFactory& base = factory;

  EXPECT_EQ(base.getProviderName(), "Alias");
}

TEST(InstanceFactoryTest, DeletingThroughTheBaseRunsTheDerivedDestructor) {
  std::vector<TOVString> destroyed;
  std::unique_ptr<InstanceFactory> factory(new RecordingFactory("Array", &destroyed));

  factory.reset();

  EXPECT_EQ(destroyed, std::vector<TOVString>{"Array"});
}
