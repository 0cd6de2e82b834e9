// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "Conditions.h"

#include "Print.h"

#include <hbtools/base/syDirEntry.h>

#include <algorithm>
#include <memory>
#include <utility>
#include <vector>

namespace ScanLab {

using namespace KxN;

namespace {

constexpr unsigned long general = 0;
constexpr unsigned long device = 1;
constexpr unsigned long processing = 2;

// The list takes the property over; until then it is ours.
void Insert(KxPropertyList& list, std::unique_ptr<KxProperty> property) {
    list.Insert(property.get());
    static_cast<void>(property.release());
}

void AddText(KxPropertyList& list, wchar_t const* name, wchar_t const* format, KxString const& value,
             unsigned long group) {
    Insert(list, std::make_unique<KxStringProperty>(name, format, value, group));
}

template <class T>
void AddNumber(KxPropertyList& list, wchar_t const* name, wchar_t const* format, T value, unsigned long group) {
    Insert(list, std::make_unique<KxTProperty<T>>(name, format, value, group));
}

KxPropertyList& AddList(KxPropertyList& list, wchar_t const* name, unsigned long group) {
    auto inner = std::make_unique<KxPropertyList>(name, name, group);
    KxPropertyList& added = *inner;
    Insert(list, std::move(inner));
    return added;
}

}  // namespace

KxPropertyList ConditionsOfPlate() {
    KxPropertyList conditions(L"Conditions", L"Conditions", general);
    AddText(conditions, L"Operator", L"Operator     %s", L"J. Kr\u00e4mer", general);
    AddText(conditions, L"Part", L"Part         %s", L"Plate 160 x 100, 4 bores", general);
    AddNumber<double>(conditions, L"Temperature", L"Temperature  %.1f \u00b0C", 20.3, general);
    AddNumber<double>(conditions, L"Humidity", L"Humidity     %.0f %%", 46.0, general);
    KxPropertyList& scanner = AddList(conditions, L"Device", device);
    AddText(scanner, L"Model", L"Model        %s", L"line scanner, 12.5 kHz", device);
    AddText(scanner, L"Serial number", L"Serial no.   %s", L"LS-0417", device);
    double const exposures[] = {0.25, 0.5, 1.0};
    Insert(scanner, std::make_unique<KxTBuf1DProperty<double>>(L"Exposures", L"Exposures    ms: ",
                                                               KxTBuf1D<double>(exposures, 3), device));
    KxPropertyList& calibration = AddList(scanner, L"Calibration", device);
    AddText(calibration, L"Last", L"Last         %s", L"2024-02-05", device);
    AddText(calibration, L"Due", L"Due          %s", L"2025-02-05", device);
    AddNumber<double>(calibration, L"Residual", L"Residual     %.4f mm", 0.0018, device);
    KxPropertyList& filter = AddList(conditions, L"Filter", processing);
    AddText(filter, L"Kind", L"Kind         %s", L"spikes, then gaps", processing);
    KxPropertyList& spikes = AddList(filter, L"Spikes", processing);
    AddNumber<double>(spikes, L"Threshold", L"Threshold    %.3f mm", 0.05, processing);
    AddNumber<int>(spikes, L"Neighbours", L"Neighbours   %d", 8, processing);
    KxPropertyList& gaps = AddList(filter, L"Gaps", processing);
    AddNumber<double>(gaps, L"Largest", L"Largest      %.2f mm", 0.4, processing);
    return conditions;
}

KxPropertyList ConditionsOfFile(KxString const& path, Scan const& scan) {
    KxDirEntry const entry(path);
    KxTools::FileStat const stat(entry);
    KxPropertyList conditions(L"Conditions", L"Conditions", general);
    KxPropertyList& file = AddList(conditions, L"Imported from", processing);
    AddText(file, L"File", L"File         %s", KxString(entry.GetName()), processing);
    AddText(file, L"Format", L"Format       %s", scan.source, processing);
    AddNumber<double>(file, L"Size", L"Size         %.0f bytes", static_cast<double>(stat.GetSize()), processing);
    if (stat.GetModified().IsValid())
        AddText(file, L"Date", L"Date         %s",
                stat.GetModified().GetDateText() + L" " + stat.GetModified().GetTimeText(), processing);
    if (scan.unit.Len() > 0) AddText(file, L"Unit", L"Unit         %s", scan.unit, processing);
    return conditions;
}

KxString ConditionsText(Scan const& scan) {
    constexpr std::size_t deepestIndented = 20;  // deeper lines would consist of blanks
    std::wstring text;
    std::vector<std::pair<KxPropertyList::const_iterator, KxPropertyList::const_iterator>> open;
    auto const show = [&](KxProperty const& property) {
        if (property.IsHidden()) return;
        text.append(4 * std::min(open.size(), deepestIndented), L' ');
        KxString const line = property.GetMessageW();
        for (wchar_t const c : line.View())  // a file name must not steer the terminal
            text += IsControl(c) ? L'?' : c;
        text += L'\n';
        if (auto const* const list = dynamic_cast<KxPropertyList const*>(&property))
            open.emplace_back(list->begin(), list->end());
    };
    show(*scan.conditions);
    while (!open.empty()) {
        auto& [next, end] = open.back();
        if (next == end)
            open.pop_back();
        else
            show(*next++);
    }
    return KxString(std::move(text));
}

}  // namespace ScanLab
