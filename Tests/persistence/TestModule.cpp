// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Classes and types come with a module and go with it.
#include "hbtools/base/syArchive.h"
#include "hbtools/persistence/syObjectGraph.h"
#include "hbtools/persistence/syPersistentObject.h"

#include "TagTest.h"

#include <dlfcn.h>

namespace {

using namespace KxN;

std::unique_ptr<KxPersistentObject> Load() {
    auto const file =
        FileOf(FromHex("00000000 fffeff14 63006c00 61007300 73002000 6d006f00 64007500 6c006500 73003a00"
                       "3a005000 72006f00 62006500 0100"));
    CArchive archive(file.get(), CArchive::load);
    return std::unique_ptr<KxPersistentObject>(KxPersistentObject::Load(archive));
}

TEST(Module, ItsClassesAreKnownWhileItIsLoaded) {
    auto& repository = KxSerializableTypeInfo::Repository;
    for (int round = 0; round < 2; ++round) {
        EXPECT_EQ(Thrown([] { Load(); }), "KxException");
        EXPECT_EQ(repository.GetTypeInfo(7001), nullptr);
        void* const module = ::dlopen(HBTOOLS_TEST_MODULE, RTLD_NOW | RTLD_LOCAL);
        ASSERT_TRUE(module) << ::dlerror();
        for (int again = 0; again < 2; ++again) EXPECT_TRUE(Load());
        ASSERT_TRUE(repository.GetTypeInfo(7001));
        {
            std::unique_ptr<KxDynamicObject> const made(CreateObject(L"class modules::Probe"));
            ASSERT_TRUE(made);
            EXPECT_EQ(repository.GetTypeInfo(made.get())->TypeId(), 7001);
        }
        EXPECT_EQ(::dlclose(module), 0);
        EXPECT_EQ(::dlopen(HBTOOLS_TEST_MODULE, RTLD_NOW | RTLD_NOLOAD), nullptr);  // it is really gone
    }
    EXPECT_EQ(CreateObject(L"class modules::Probe"), nullptr);
}

}  // namespace
