// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "Commands.h"

#include <hbtools/base/syEncoding.h>
#include <hbtools/persistence/syTagCopier.h>

#include <map>
#include <set>
#include <string_view>
#include <utility>
#include <vector>

namespace hbtag {

using namespace KxN;

namespace {

bool IsPoints(TagPayloadKind kind) {
    return kind >= PayloadVec2sArray && kind <= PayloadVec3d2dArray;
}

bool IsNumbers(TagPayloadKind kind) {
    return kind == PayloadIntArray || kind == PayloadDoubleTags || kind == PayloadHistogram;
}

std::string KindName(TagPayloadKind kind) {
    return KxxToUtf8(KxxPayloadKindName(kind));
}

struct Account {
    long long records = 0;  // that were found
    long long lostRecords = 0;
    long long cutRecords = 0;
    struct Elements {
        long long kept = 0;  // that are in the copy
        long long all = 0;
    };
    Elements points, values;  // of arrays of points, of arrays of numbers
    unsigned long long lostBytes = 0;
    unsigned long long unknownBytes = 0;  // of them: what stood there counts nowhere else

    explicit Account(KxTagCopier& copier) {
        std::map<unsigned long long, SxTagLoss const*> lost;  // records, by position
        for (SxTagLoss const& loss : copier.Losses()) {
            lostBytes += loss.end - loss.begin;
            if (!loss.isRecord) unknownBytes += loss.end - loss.begin;
            if (loss.isRecord) lost[loss.position] = &loss;
            if (loss.isRecord && loss.kept == 0) ++lostRecords;
            if (loss.isRecord && loss.kept > 0 && loss.kept < loss.promised) ++cutRecords;
        }
        auto const& found = copier.Source().Records();
        records = found.Size();
        for (SxTagRecord const& record : found) {
            if (!IsPoints(record.kind) && !IsNumbers(record.kind)) continue;
            Elements& elements = IsPoints(record.kind) ? points : values;
            auto const loss = lost.find(record.position);
            elements.kept += loss == lost.end() ? record.count : loss->second->kept;
            elements.all += loss == lost.end() ? record.count : loss->second->promised;
        }
    }
};

/// The faults but for those that a loss tells already.
std::vector<SxTagFault> OtherFaults(KxTagCopier& copier) {
    std::set<std::pair<unsigned long long, std::wstring_view>> told;
    for (SxTagLoss const& loss : copier.Losses())
        if (loss.isRecord) told.emplace(loss.position, loss.text.View());
    std::vector<SxTagFault> others;
    for (SxTagFault const& fault : copier.Faults())
        if (!told.contains({fault.position, fault.text.View()})) others.push_back(fault);
    return others;
}

/// What a level below a number may be instead.
void PrintRemarks(tool::Output& output, KxTagCopier& copier) {
    for (SxTagFault const& remark : copier.Source().Remarks())
        output.Print("remark: at {}: {}\n", remark.position, tool::Escaped(remark.text));
}

void PrintText(tool::Output& output, KxTagCopier& copier, Account const& account) {
    output.Print("{} of {} records, ", copier.NumCopied(), account.records);
    if (account.cutRecords > 0) output.Print("{} of them cut, ", account.cutRecords);
    output.Print("{} of {} points", account.points.kept, account.points.all);
    if (account.values.all > 0) output.Print(" and {} of {} values", account.values.kept, account.values.all);
    output.Print(" of their arrays, {} bytes lost", account.lostBytes);
    if (account.unknownBytes > 0)
        output.Print("; what stood in {} of them is not known, and not counted", account.unknownBytes);
    output.Print("\n");
    for (SxTagLoss const& loss : copier.Losses()) {
        if (!loss.isRecord)
            output.Print("lost: bytes {} to {}", loss.begin, loss.end);
        else
            output.Print("{}: record {} at {}, {}, bytes {} to {}",
                         loss.kept == 0              ? "lost"
                         : loss.kept < loss.promised ? "cut"
                                                     : "mended",
                         loss.id, loss.position, KindName(loss.kind), loss.begin, loss.end);
        if (loss.promised > 0) output.Print(", {} of {} elements kept", loss.kept, loss.promised);
        output.Print(": {}\n", tool::Escaped(loss.text));
    }
    for (SxTagFault const& fault : OtherFaults(copier))
        output.Print("{}: at {}: {}\n", KxxToUtf8(KxxTagFaultName(fault.kind)), fault.position,
                     tool::Escaped(fault.text));
    PrintRemarks(output, copier);
}

void PrintJson(tool::Output& output, FileArguments const& arguments, KxTagCopier& copier, Account const& account,
               TagFileState state) {
    output.Print(
        "{{\n  \"file\": {},\n  \"output\": {},\n  \"state\": \"{}\",\n  \"records\": {{\"found\": {}, \"copied\": {}, "
        "\"lost\": {}, \"cut\": {}}},\n  \"points\": {{\"kept\": {}, \"of\": {}}},\n  \"values\": {{\"kept\": {}, "
        "\"of\": {}}},\n  \"lostBytes\": {},\n  \"unknownBytes\": {},\n  \"losses\": [",
        tool::Quoted(PathOf(arguments.in)), tool::Quoted(PathOf(arguments.out)),
        state == TagFileWhole ? "whole" : "damaged", account.records, copier.NumCopied(), account.lostRecords,
        account.cutRecords, account.points.kept, account.points.all, account.values.kept, account.values.all,
        account.lostBytes, account.unknownBytes);
    char const* separator = "";
    for (SxTagLoss const& loss : copier.Losses()) {
        output.Print("{}\n    {{\"begin\": {}, \"end\": {}", separator, loss.begin, loss.end);
        if (loss.isRecord)
            output.Print(", \"position\": {}, \"id\": {}, \"kind\": {}, \"kept\": {}, \"promised\": {}", loss.position,
                         loss.id, tool::Quoted(KxxPayloadKindName(loss.kind)), loss.kept, loss.promised);
        output.Print(", \"text\": {}}}", tool::Quoted(loss.text));
        separator = ",";
    }
    output.Print("{}],\n  \"faults\": [", *separator ? "\n  " : "");
    separator = "";
    for (SxTagFault const& fault : OtherFaults(copier)) {
        output.Print("{}\n    {{\"kind\": {}, \"position\": {}, \"target\": {}, \"text\": {}}}", separator,
                     tool::Quoted(KxxTagFaultName(fault.kind)), fault.position, fault.target, tool::Quoted(fault.text));
        separator = ",";
    }
    output.Print("{}],\n  \"remarks\": [", *separator ? "\n  " : "");
    separator = "";
    for (SxTagFault const& remark : copier.Source().Remarks()) {
        output.Print("{}\n    {{\"position\": {}, \"target\": {}, \"text\": {}}}", separator, remark.position,
                     remark.target, tool::Quoted(remark.text));
        separator = ",";
    }
    output.Print("{}]\n}}\n", *separator ? "\n  " : "");
}

}  // namespace

int Repair(FileArguments const& arguments) {
    CFile in(PathOf(arguments.in), CFile::modeRead);
    OutFile out(arguments.in, arguments.out, arguments.force);
    KxTagCopier copier(&in);
    TagFileState const state = copier.Repair(out.File());
    if (state == TagFileForeign) {
        tool::Complain("hbtag: {} is not a tag file\n", tool::Escaped(PathOf(arguments.in)));
        return state;
    }
    // A file without a header and without a record would be none.
    bool const isWritten = out.Size() > 0;
    if (isWritten) out.Commit();
    tool::Output output("hbtag");
    Account const account(copier);
    if (arguments.json)
        PrintJson(output, arguments, copier, account, state);
    else
        PrintText(output, copier, account);
    if (!isWritten)
        tool::Complain("hbtag: {} holds nothing that is whole; {} was not written\n",
                       tool::Escaped(PathOf(arguments.in)), tool::Escaped(PathOf(arguments.out)));
    return output.Finish() ? static_cast<int>(state) : tool::exitUsage;
}

}  // namespace hbtag
