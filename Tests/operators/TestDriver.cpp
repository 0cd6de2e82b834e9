// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "hbtools/base/syModule.h"
#include "hbtools/operators/syDriver.h"

#include "../base/Support.h"

#include <cerrno>
#include <string>

using namespace KxN;

namespace {

class Driver : public KxDriver {
public:
    explicit Driver(std::string const& name) : KxDriver(KxxFromSystemPath(HBTOOLS_TEST_DRIVERS "/" + name + ".so")) {}
    using KxDriver::NewDriverObject;
};

/// What happens in the module, which it keeps loaded.
class Log {
public:
    Log() : m_hold(KxxLoadLibrary(KxxFromSystemPath(HBTOOLS_TEST_DRIVERS "/whole.so"))) {
        m_log = KxxGetFunction<std::string*()>(m_hold.GetModule(), "DriverLog")();
        m_log->clear();
    }
    std::string const& Text() const { return *m_log; }

private:
    KxModuleHold m_hold;
    std::string* m_log;
};

class Plain : public KxDriverObject {};

TEST(Driver, ObjectsEndBeforeTheirModuleFirstMadeFirst) {
    Log const log;
    std::string made;
    Plain foreign;
    {
        Driver driver("whole");
        EXPECT_FALSE(driver.IsInitialized());
        driver.Init();
        EXPECT_EQ(driver.GetVersion(), KxVersion(107));
        KxDriverObject* objects[4];
        for (KxDriverObject*& object : objects) object = driver.NewDriverObject();
        made = log.Text();
        driver.DeleteObject(&foreign);
        driver.DeleteObject(nullptr);
        EXPECT_EQ(log.Text(), made);
        driver.DeleteObject(objects[1]);
        EXPECT_EQ(log.Text(), made + '-' + made[1]);
        driver.DeleteObject(objects[1]);  // no longer the driver's
    }
    EXPECT_EQ(log.Text(), made + '-' + made[1] + '-' + made[0] + '-' + made[2] + '-' + made[3] + "-dll");
}

TEST(Driver, TheModuleGoesWithItsDriver) {
    auto const isLoaded = [] {
        std::ifstream maps("/proc/self/maps");
        std::string const text(std::istreambuf_iterator<char>(maps), {});
        return text.find("test_drivers/whole.so") != std::string::npos;
    };
    {
        Driver const never("whole");
        Driver driver("whole");
        driver.Init();
        driver.NewDriverObject();
        EXPECT_TRUE(isLoaded());
    }
    EXPECT_FALSE(isLoaded());
}

TEST(Driver, FailuresNameTheModuleAndWhatIsMissing) {
    auto const failure = [](char const* name) {
        Driver driver(name);
        std::string text;
        try {
            driver.Init();
        } catch (KxDllProcAddrException* exception) {
            text = "function " + test::U(exception->GetFunction());
            EXPECT_EQ(exception->GetCode(), static_cast<unsigned long>(ENOSYS));
            EXPECT_NE(test::U(exception->GetName()).find(name), std::string::npos);
            exception->Delete();
        } catch (KxDllLoadException* exception) {
            text = "load " + test::U(exception->GetReason());
            exception->Delete();
        }
        EXPECT_FALSE(driver.IsInitialized());
        return text;
    };
    EXPECT_EQ(failure("empty"), "function NewDll");
    EXPECT_EQ(failure("noObject"), "function NewObject");
    EXPECT_NE(failure("unresolved").find("NobodyHasThis"), std::string::npos);  // the loader's own words
    EXPECT_TRUE(failure("missing").starts_with("load "));
}

TEST(Driver, ObjectsHaveNoSettingsUnlessTheyBringThem) {
    Plain object;
    KxTMem<KxParameter*> const none = object.GetParameter();
    EXPECT_EQ(none.Size(), 0u);
    object.SaveParameter(L"file", L"group");
    object.LoadParameter(L"file", L"group");
    std::string const text = test::Thrown<KxNotImplementedException>([&] { object.SetParameter(none); });
    EXPECT_NE(text.find("KxDriverObject::SetParameter"), std::string::npos) << text;
}

}  // namespace
