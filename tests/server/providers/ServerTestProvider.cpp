// The provider the server's tests load: a framework provider with a small
// class tree (Test_Base <- Test_Foo <- Test_FooChild, and Test_Bar), an
// association class (Test_FooBar: Antecedent -> Test_Foo, Dependent ->
// Test_Bar), instances whose properties cover every CIM type, and a method
// (Test_Foo.DoIt, and Test_Foo.Echo). One association leads to a Test_Bar that is not cached
// (Tag "ghost"). Its lifecycle calls are logged (source
// "ServerTestProvider", severity 3) so that tests can check their order.

#include <limits>
#include <vector>

#include "framework/Class.h"
#include "framework/Helper.h"
#include "framework/InstanceManager.h"
#include "framework/Provider.h"
#include "host/ActualParameter.h"
#include "host/CimType.h"
#include "host/List.h"
#include "host/Log.h"
#include "host/Object.h"
#include "host/Value.h"
#include "framework/ProviderEntryPoints.h"
#include "support/ObjectModelBuilders.h"
#include "support/TestInstances.h"

namespace {

using kest::pf::Class;
using kest::pf::Helper;
using kest::testing::Key;
using kest::testing::make;
using kest::testing::makeName;
using kest::testing::TestInstance;

using ValueList = TOVValSlist<TOVSmrPtr<ITovaValue>>;

void logStep(const TOVString& step) {
  TOVLog::log("ServerTestProvider", step, TOVLog::SEVERITY_INFO, 2, 0, TOVLog::CIMOMLOG);
}

TOVSmrPtr<ITovaValue> array(CimTypeCode code, std::vector<TOVSmrPtr<ITovaValue>> elements) {
  TOVSmrPtr<ValueList> list(new ValueList());
  for (const TOVSmrPtr<ITovaValue>& element : elements) list->append(element);
  return TOVSmrPtr<ITovaValue>(new CTovaValue(CTovaType::arrayOf(code), list));
}

TOVSmrPtr<ITovaInstanceName> fooName(const char* name, TOVuint32 id,
                                     const char* className = "Test_Foo") {
  return makeName(className, {Key{"Name", make(name)}, Key{"Id", make(id)}});
}

TOVSmrPtr<ITovaInstanceName> barName(const char* tag) {
  return makeName("Test_Bar", "Tag", make(tag));
}

// DoIt(S, N): returns 0 and the output parameter Result "done: <S>/<N>"
// (and an output parameter Nothing that holds no value).
// Echo(...): returns every input parameter as an output parameter, and
// their number.
// Typed(): returns "5" and the output parameters Count "12", Flags
// {"true", "FALSE"}, Text "plain" and Small "300", every one a string (the
// class declares other types).
TOVSmrPtr<ITovaValue> doIt(const TOVString& method, TestInstance::ParameterList in,
                           TestInstance::ParameterList& out, TOVSmrPtr<ITovaTransaction>&) {
  if (method.compareTo("Echo", 0) == 0) {
    for (const TOVParameter& parameter : *in) out->append(parameter);
    return make(static_cast<TOVuint32>(in->entries()));
  }
  if (method.compareTo("Typed", 0) == 0) {
    out->append(TOVParameter(new CTovaActualParameter("Count", make("12"))));
    out->append(TOVParameter(new CTovaActualParameter(
        "Flags", array(CimTypeCode::String, {make("true"), make("FALSE")}))));
    out->append(TOVParameter(new CTovaActualParameter("Text", make("plain"))));
    out->append(TOVParameter(new CTovaActualParameter("Small", make("300"))));
    return make("5");
  }
  if (method.compareTo("DoIt", 0) != 0) return TOVSmrPtr<ITovaValue>();
  TOVString s;
  unsigned int n = 0;
  Helper::getOptionalParameterByName("S", in, s, TOVString(""));
  Helper::getOptionalParameterByName("N", in, n, 0u);
  out->append(TOVParameter(new CTovaActualParameter(
      "Result", make(TOVString("done: ") + s + "/" + TOVString::fromUInt(n)))));
  out->append(TOVParameter(new CTovaActualParameter("Nothing", TOVSmrPtr<ITovaValue>())));
  return make(TOVuint32(0));
}

class ServerTestProvider : public kest::pf::Provider {
 public:
  ~ServerTestProvider() override {
    // The class tree links both ways; unlink it so that it is freed.
    for (const TOVSmrPtr<Class>& cls : _classes) {
      cls->setBaseClass(TOVSmrPtr<Class>());
      cls->getChildClasses()->clear();
    }
  }

  void startTransaction(const TOVSmrPtr<ITovaTransaction>&) override {}
  void endTransaction(const TOVSmrPtr<ITovaTransaction>&) override {}
  TOVString getVersion() override { return "1.0"; }
  TOVString getProviderName() const override { return "ServerTest"; }
  void logAuditInfo(TOVSmrPtr<ITovaValue>, TOVSmrPtr<ITovaTransaction>,
                    TOVSmrPtr<ITovaInstanceName>, TOVString methodName) override {
    logStep("audit " + methodName);
  }

  void initialize(TOVSmrPtr<ITovaRepository> repository) override {
    logStep(repository ? "initialize" : "initialize without a repository");
    Provider::initialize(repository);
  }
  void setWorkArea(const TOVString& workArea) override {
    logStep("setWorkArea " + workArea);
    Provider::setWorkArea(workArea);
  }
  void setProviderContext(const TOVSmrPtr<kest::IProviderContext>& context) override {
    logStep("setProviderContext");
    Provider::setProviderContext(context);
  }
  void postStartup() override { logStep("postStartup"); }
  void postStartupIsComplete() override { logStep("postStartupIsComplete"); }
  void shutdown() override { logStep("shutdown"); }

  void startup() override {
    logStep("startup");
    const TOVSmrPtr<Class> base = declare("Test_Base", false);
    const TOVSmrPtr<Class> foo = declare("Test_Foo", false);
    const TOVSmrPtr<Class> child = declare("Test_FooChild", false);
    declare("Test_Bar", false);
    declare("Test_FooBar", true);
    link(base, foo);
    link(foo, child);
    kest::pf::InstanceManager& manager = getInstanceManager();
    manager.addAssociation("Test_Foo", "Test_FooBar");
    manager.addAssociation("Test_Bar", "Test_FooBar");

    // Creations raise indications, which the server's context logs.
    enableIndications();
    activateSubscription(TOVSmrPtr<ITovaInstanceName>(), ClassList(), TOVSmrPtr<IQueryStatement>());

    const TOVSmrPtr<TestInstance> embedded(new TestInstance(manager, "Test_Bar", barName("e")));
    embedded->setProperty("Tag", make("e"));

    const TOVSmrPtr<TestInstance> abc = instance("Test_Foo", fooName("abc", 42));
    abc->setProperty("Name", make("abc"));
    abc->setProperty("Id", make(TOVuint32(42)));
    abc->setProperty("Flag", make(true));
    abc->setProperty("Descr", make("hello & <world>"));
    abc->setProperty("Count", make(TOVsint64(-5)));
    abc->setProperty("Vals", array(CimTypeCode::UInt16, {make(TOVuint16(1)), make(TOVuint16(2))}));
    abc->setProperty("Tags", array(CimTypeCode::String, {make("t1"), make("t,2")}));
    abc->setProperty("Peer", make(barName("b1")));
    abc->setProperty("U8", make(TOVuint8(255)));
    abc->setProperty("S8", make(TOVsint8(-128)));
    abc->setProperty("U16", make(TOVuint16(65535)));
    abc->setProperty("S16", make(TOVsint16(-32768)));
    abc->setProperty("S32", make(TOVsint32(-2147483647 - 1)));
    abc->setProperty("U64", make(18446744073709551615ull));
    abc->setProperty("R32", make(TOVreal32(0.25f)));
    abc->setProperty("R64", make(1.5e10));
    abc->setProperty("C16", CTovaValue::char16(u'x'));
    abc->setProperty("When", CTovaValue::dateTime("20240102030405.000000+000"));
    abc->setProperty("Obj", make(TOVSmrPtr<ITovaObject>(embedded)));
    abc->setProperty("Nothing", CTovaValue::nullOf(CTovaType::string));
    abc->setMethodBehaviour(doIt);

    const TOVSmrPtr<TestInstance> other = instance("Test_Foo", fooName("x y\"z", 7));
    other->setProperty("Name", make("x y\"z"));
    other->setProperty("Id", make(TOVuint32(7)));
    other->setProperty("Flag", make(false));
    other->setProperty("Descr", CTovaValue::nullOf(CTovaType::string));
    other->setMethodBehaviour(doIt);

    const TOVSmrPtr<TestInstance> kid =
        instance("Test_FooChild", fooName("kid", 1, "Test_FooChild"));
    kid->setProperty("Name", make("kid"));
    kid->setProperty("Id", make(TOVuint32(1)));
    kid->setProperty("Extra", make("child only"));

    for (const auto& [tag, size] : {std::pair<const char*, TOVuint64>{"b1", 1024}, {"b2", 2048}}) {
      const TOVSmrPtr<TestInstance> bar = instance("Test_Bar", barName(tag));
      bar->setProperty("Tag", make(tag));
      bar->setProperty("Size", make(static_cast<unsigned long long>(size)));
    }
    link(abc, "b1", 3);
    link(abc, "b2", 4);
    link(kid, "b1", 5);
    link(kid, "ghost", 6);  // a Test_Bar that is not cached
  }

 private:
  TOVSmrPtr<Class> declare(const char* name, bool association) {
    TOVSmrPtr<Class> cls(new Class(name, nullptr, nullptr, association, nullptr));
    getInstanceManager().registerClass(cls);
    _classes.push_back(cls);
    return cls;
  }

  static void link(const TOVSmrPtr<Class>& base, const TOVSmrPtr<Class>& child) {
    child->setBaseClass(base);
    base->setChildClass(child);
  }

  TOVSmrPtr<TestInstance> instance(const char* className,
                                   const TOVSmrPtr<ITovaInstanceName>& name) {
    TOVSmrPtr<TestInstance> object(new TestInstance(getInstanceManager(), className, name));
    getInstanceManager().registerInstance(object);
    return object;
  }

  // A Test_FooBar object from foo to the Test_Bar tagged tag.
  void link(const TOVSmrPtr<TestInstance>& foo, const char* tag, TOVuint8 weight) {
    const TOVSmrPtr<ITovaInstanceName> antecedent = foo->getInstanceName();
    const TOVSmrPtr<ITovaInstanceName> dependent = barName(tag);
    const TOVSmrPtr<TestInstance> association(new TestInstance(
        getInstanceManager(), "Test_FooBar",
        makeName("Test_FooBar",
                 {Key{"Antecedent", make(antecedent)}, Key{"Dependent", make(dependent)}})));
    association->setProperty("Antecedent", make(antecedent));
    association->setProperty("Dependent", make(dependent));
    association->setProperty("Weight", make(weight));
    getInstanceManager().registerInstance(association);
  }

  std::vector<TOVSmrPtr<Class>> _classes;
};

}  // namespace

KEST_PROVIDER_ENTRY_POINTS(ServerTestProvider)
