// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
#include "Commands.h"

#include <hbtools/persistence/syTagCopier.h>

namespace hbtag {

using namespace KxN;

int Convert(FileArguments const& arguments, int bits) {
    CFile in(PathOf(arguments.in), CFile::modeRead);
    OutFile out(arguments.in, arguments.out, arguments.force);
    KxTagCopier copier(&in);
    TagFileState const state = copier.Convert(out.File(), bits == 64 ? TagFormat64 : TagFormat32);
    std::string const name = tool::Escaped(PathOf(arguments.in));
    if (state == TagFileForeign) {
        tool::Complain("hbtag: {} is not a tag file\n", name);
        return state;
    }
    if (state == TagFileDamaged) {
        tool::Complain("hbtag: {} is damaged and was not converted; hbtag repair makes a copy of what is whole\n",
                       name);
        return state;
    }
    tool::Output output("hbtag");
    unsigned long long const size = out.Size();
    out.Commit();
    if (arguments.json)
        output.Print(
            "{{\n  \"file\": {},\n  \"output\": {},\n  \"form\": {},\n  \"records\": {},\n  \"size\": {}\n}}\n",
            tool::Quoted(PathOf(arguments.in)), tool::Quoted(PathOf(arguments.out)), bits, copier.NumCopied(), size);
    else
        output.Print("{}: {} bytes, {} records of {} bits\n", tool::Escaped(PathOf(arguments.out)), size,
                     copier.NumCopied(), bits);
    return output.Finish() ? tool::exitWhole : tool::exitUsage;
}

}  // namespace hbtag
