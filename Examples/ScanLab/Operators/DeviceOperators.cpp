// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Measuring devices behind their drivers: Devices, SetDevice, Measure. A driver is loaded for one operator at a time; what is
// set of its device stands in the file of settings.
#include "../Caught.h"
#include "../Devices/Driver.h"
#include "../Print.h"
#include "Command.h"
#include "Operators.h"
#include "Watch.h"

#include <hbtools/base/syException.h>

#include <utility>

namespace ScanLab {

using namespace KxN;

namespace {

/// What the operators on one driver have in common.
class OfDevice : public Command {
protected:
    enum : unsigned short { Driver = 1 };

    OfDevice(OperatorId id, Session& session) : Command(id, session) { AddText(Driver, L"*"); }

    /// The driver that is named, or the first one.
    KxString DriverName() {
        KxString name = GetParameterString(Driver);
        if (name != L"*") return name;
        std::vector<KxString> const names = DriverNames();
        if (names.empty()) Refuse(Driver, TextOf(Text::NoDriver));
        return names.front();
    }
    /// Returns work(driver, device) for a device with the settings that are kept for it. Nothing of the driver outlives it, not
    /// even an exception.
    template <class Work>
    auto WithDevice(KxString const& name, Work work) {
        ScannerDriver driver(name);
        return ScannerDriver::Guard([&] {
            driver.Init();
            Scanner& scanner = driver.NewScanner();
            if (m_session.settingsFile.Len() > 0) scanner.LoadParameter(m_session.settingsFile, SettingsGroup(driver));
            return work(driver, scanner);
        });
    }
};

class DevicesCommand : public CommandOf<DevicesCommand, OfDevice> {
public:
    explicit DevicesCommand(Session& session) : CommandOf(DevicesId, session) {}

protected:
    /// One that does not work is told, and the list goes on.
    OperatorReturnCode Run() override {
        std::vector<KxString> names{GetParameterString(Driver)};
        if (names[0] == L"*") names = DriverNames();
        for (KxString const& name : names) {
            try {
                WithDevice(name, [](ScannerDriver& driver, Scanner const& scanner) {
                    Print(L"%s  %s, %s\n", driver.ShortName(), scanner.GetDescription(), driver.GetVersion().GetText());
                    for (KxParameter const* const setting : scanner.GetParameter())
                        Print(L"    %s\n", SettingText(*setting));
                });
            } catch (CException* exception) {
                if (names.size() == 1 || exception->EndsThread()) throw;
                Print(L"%s  %s\n", name, TakeText(exception));
            }
        }
        return OPERATOR_OK;
    }
};

class SetDeviceCommand : public CommandOf<SetDeviceCommand, OfDevice> {
public:
    enum : unsigned short { Setting = 2, Value };

    explicit SetDeviceCommand(Session& session) : CommandOf(SetDeviceId, session) {
        AddText(Setting, L"*");
        AddText(Value, L"*");
    }

protected:
    OperatorReturnCode Run() override {
        if (m_session.settingsFile.Len() == 0) Refuse(Driver, TextOf(Text::NoSettings));
        KxString const name = GetParameterString(Setting), value = GetParameterString(Value);
        bool isKnown = false;
        WithDevice(DriverName(), [&](ScannerDriver& driver, Scanner& scanner) {
            for (KxParameter* const setting : scanner.GetParameter()) {
                if (name != L"*" && setting->GetFixName() != name) continue;
                isKnown = true;
                if (name != L"*" && value != L"*") setting->SetValueFromString(value);
                Print(L"%s\n", SettingText(*setting));
            }
            if (isKnown) scanner.SaveParameter(m_session.settingsFile, SettingsGroup(driver));
        });
        if (!isKnown) Refuse(Setting, FormatOf(Text::NoSetting, name));
        return OPERATOR_OK;
    }
};

/// Puts what the device measures into a scan.
class ToScan final : public PointSink {
public:
    ToScan(Scan& scan, Progress progress) : m_scan(scan), m_progress(progress) {}
    void Take(KxVec3d const* points, int count, double part) override {
        for (int i = 0; i < count; ++i) m_scan.Add(points[i]);
        m_progress.Show(part, 1.0);
    }

private:
    Scan& m_scan;
    Progress m_progress;
};

class MeasureCommand : public CommandOf<MeasureCommand, OfDevice> {
public:
    enum : unsigned short { Name = 2 };

    explicit MeasureCommand(Session& session) : CommandOf(MeasureId, session) { AddText(Name, L"*"); }

protected:
    OperatorReturnCode Run() override {
        RunningWatch watch;
        KxString driverName;
        StoredScan stored;
        stored.scan = WithDevice(DriverName(), [&](ScannerDriver& driver, Scanner& scanner) {
            driverName = driver.ShortName();
            return InWorker([&](Progress progress) {
                Scan scan;
                scan.name = driverName;
                scan.source = scanner.GetDescription();
                scan.unit = L"mm";
                ToScan sink(scan, progress);
                scanner.Measure(sink);
                return scan;
            });
        });
        Content next = m_session.Now();
        Entry const& entry = next.Add(GetParameterString(Name), driverName, std::move(stored));
        Change(entry.name, std::move(next));
        Print(L"Scan        %s: %s\n", entry.name, entry.stored.scan.source);
        Print(L"Points      %d, in %.2f s\n", entry.stored.scan.points->Size(), watch.Seconds());
        return OPERATOR_OK;
    }
};

}  // namespace

void InsertDeviceOperators(KxOperatorMgr& manager, Session& session) {
    manager.Insert(new DevicesCommand(session));
    manager.Insert(new SetDeviceCommand(session));
    manager.Insert(new MeasureCommand(session));
}

}  // namespace ScanLab
