// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// An XML document of ten megabytes: read, walked node by node, freed; beside the two libraries that ours stands on, one after
// the other, and libxml2. A file of a hundred megabytes packed and unpacked, and thousands of small ones unpacked, beside the zip
// library alone.
#include "hbtools/base/syEncoding.h"
#include "hbtools/interchange/syXmlParser.h"
#include "hbtools/interchange/syZipHelper.h"

#include <benchmark/benchmark.h>

#include <array>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <unistd.h>

#ifdef HBTOOLS_BENCH_XML
#include <expat.h>
#include <pugixml.hpp>
#endif
#ifdef HBTOOLS_BENCH_LIBXML2
#include <libxml/parser.h>
#endif
#ifdef HBTOOLS_BENCH_MINIZIP
#include <fcntl.h>

#include <minizip/unzip.h>
#include <minizip/zip.h>
#endif

using namespace KxN;

namespace {

namespace fs = std::filesystem;

/// A folder for the files of this source.
fs::path const& Folder() {
    static fs::path const folder = [] {
        fs::path made = fs::temp_directory_path() / "hbbench-interchange";
        fs::create_directories(made);
        return made;
    }();
    return folder;
}
/// Before what flushes files: nobody waits for what another benchmark has written.
void Settle() {
    ::sync();
}
KxString Wide(fs::path const& path) {
    return KxString(KxxFromSystemPath(path.string()));
}

std::string const& Document() {
    static std::string const text = [] {
        std::string made = "<?xml version=\"1.0\"?>\n<scan>\n";
        for (int i = 0; made.size() < 10'000'000; ++i)
            made += "  <point id=\"" + std::to_string(i) + "\" valid=\"true\"><x>" + std::to_string(i * 0.25) +
                    "</x><y>1.5</y><note>Messpunkt</note></point>\n";
        return made + "</scan>\n";
    }();
    return text;
}
fs::path const& XmlFile() {
    static fs::path const path = [] {
        std::ofstream(Folder() / "a.xml", std::ios::binary) << Document();
        return Folder() / "a.xml";
    }();
    return path;
}

/// Visits every node with single steps. The way down and up needs no memory.
long Walk(XML_PARSER& xml) {
    long count = 1;
    for (int depth = 0;;) {
        if (xml.Go_to_Child()) {
            ++count, ++depth;
            continue;
        }
        while (depth > 0 && !xml.Go_Forward()) xml.Go_to_Parent(), --depth;
        if (depth == 0) return count;
        ++count;
    }
}

void XmlOurs(benchmark::State& state) {
    KxString const path = Wide(XmlFile());
    for (auto _ : state) {
        XML_PARSER xml;
        if (!xml.Load_XML_Document(path)) state.SkipWithError("not loaded");
        benchmark::DoNotOptimize(Walk(xml));
    }
}
BENCHMARK(XmlOurs)->Name("xml load walk free/hbtools")->Arg(10'000'000)->UseRealTime();

#ifdef HBTOOLS_BENCH_XML
void XmlLibraries(benchmark::State& state) {
    for (auto _ : state) {
        XML_Parser const parser = ::XML_ParserCreate(nullptr);
        ::XML_SetElementHandler(
            parser, [](void*, XML_Char const*, XML_Char const**) {}, [](void*, XML_Char const*) {});
        ::XML_SetCharacterDataHandler(parser, [](void*, XML_Char const*, int) {});
        if (::XML_Parse(parser, Document().data(), static_cast<int>(Document().size()), 1) != XML_STATUS_OK)
            state.SkipWithError("not read");
        ::XML_ParserFree(parser);
        pugi::xml_document document;
        if (!document.load_file(XmlFile().c_str())) state.SkipWithError("not loaded");
        struct Counter : pugi::xml_tree_walker {
            bool for_each(pugi::xml_node&) override { return ++count, true; }
            long count = 0;
        } counter;
        document.traverse(counter);
        benchmark::DoNotOptimize(counter.count);
    }
}
BENCHMARK(XmlLibraries)->Name("xml load walk free/expat, then pugixml")->Arg(10'000'000)->UseRealTime();
#endif

#ifdef HBTOOLS_BENCH_LIBXML2
void XmlLibxml2(benchmark::State& state) {
    for (auto _ : state) {
        xmlDoc* const document = ::xmlReadFile(XmlFile().c_str(), nullptr, 0);
        long count = 0;
        for (xmlNode const* node = ::xmlDocGetRootElement(document); node;) {
            ++count;
            xmlNode const* following = node->children;
            while (!following && node) {
                following = node->next;
                if (!following) node = node->parent;
            }
            node = following;
        }
        benchmark::DoNotOptimize(count);
        ::xmlFreeDoc(document);
    }
}
BENCHMARK(XmlLibxml2)->Name("xml load walk free/libxml2")->Arg(10'000'000)->UseRealTime();
#endif

constexpr std::size_t payload = 100'000'000;

fs::path const& Measured() {
    static fs::path const path = [] {
        std::vector<float> values(payload / sizeof(float));
        for (std::size_t i = 0; i < values.size(); ++i)
            values[i] = static_cast<float>(i % 3 == 0 ? i / 3 % 1000 : i * 2654435761U >> 20 & 0xff) * 0.01f;
        std::ofstream(Folder() / "scan.bin", std::ios::binary)
            .write(reinterpret_cast<char const*>(values.data()), static_cast<std::streamsize>(payload));
        return Folder() / "scan.bin";
    }();
    return path;
}

void ZipOurs(benchmark::State& state) {
    fs::path const archive = Folder() / "ours.zip";
    KxString const source = Wide(Measured());
    Settle();
    for (auto _ : state) {
        fs::remove(archive);
        KxZipHelper::CompressFile(source, Wide(archive), L"", L"");
    }
}
BENCHMARK(ZipOurs)->Name("zip pack/hbtools")->Arg(payload)->UseRealTime()->Unit(benchmark::kMillisecond);

/// The archive that all unpack.
fs::path const& Packed() {
    static fs::path const path = [] {
        fs::path archive = Folder() / "packed.zip";
        fs::remove(archive);
        KxZipHelper::CompressFile(Wide(Measured()), Wide(archive), L"", L"");
        return archive;
    }();
    return path;
}

void UnzipOurs(benchmark::State& state) {
    fs::path const& archive = Packed();
    Settle();
    for (auto _ : state) {
        KxTMap<KxString, KxString> files;
        KxZipHelper::UncompressFiles(Wide(archive), Wide(Folder() / "out"), files);
    }
}
BENCHMARK(UnzipOurs)->Name("zip unpack/hbtools")->Arg(payload)->UseRealTime()->Unit(benchmark::kMillisecond);

constexpr int many = 3000;

/// An archive of many small files.
fs::path const& ManyFiles() {
    static fs::path const path = [] {
        fs::create_directories(Folder() / "small");
        KxTDynArray<SxZipSource> sources;
        for (int i = 0; i < many; ++i) {
            fs::path const file = Folder() / "small" / (std::to_string(i) + ".txt");
            std::ofstream(file) << std::string(2000, static_cast<char>('a' + i % 26)) << i;
            sources.Add({Wide(file), L""});
        }
        KxZipHelper::CompressFiles(sources, Wide(Folder() / "many.zip"), L"", KxZipHelper::Mode::replace);
        return Folder() / "many.zip";
    }();
    return path;
}
/// A folder with nothing in it.
fs::path Emptied(benchmark::State& state) {
    state.PauseTiming();
    fs::remove_all(Folder() / "many");
    fs::create_directories(Folder() / "many");
    state.ResumeTiming();
    return Folder() / "many";
}

void UnzipManyOurs(benchmark::State& state) {
    KxString const archive = Wide(ManyFiles());
    Settle();
    for (auto _ : state) {
        KxTMap<KxString, KxString> files;
        KxZipHelper::UncompressFiles(archive, Wide(Emptied(state)), files);
        if (files.Count() != many) state.SkipWithError("not unpacked");
    }
}
BENCHMARK(UnzipManyOurs)->Name("zip unpack files/hbtools")->Arg(many)->UseRealTime()->Unit(benchmark::kMillisecond);

#ifdef HBTOOLS_BENCH_MINIZIP
/// Ours has its files on the medium before they get their names.
void Sync(fs::path const& path) {
    int const descriptor = ::open(path.c_str(), O_RDONLY);
    ::fsync(descriptor);
    ::close(descriptor);
}

void ZipAlone(benchmark::State& state, bool isSynced) {
    Measured();
    Settle();
    std::vector<char> buffer(0x10000);
    for (auto _ : state) {
        zipFile const zip = ::zipOpen64((Folder() / "alone.zip").c_str(), APPEND_STATUS_CREATE);
        zip_fileinfo const info{};
        ::zipOpenNewFileInZip64(zip, "scan.bin", &info, nullptr, 0, nullptr, 0, nullptr, Z_DEFLATED,
                                Z_DEFAULT_COMPRESSION, 0);
        std::ifstream source(Measured(), std::ios::binary);
        while (source.read(buffer.data(), static_cast<std::streamsize>(buffer.size())), source.gcount() > 0)
            ::zipWriteInFileInZip(zip, buffer.data(), static_cast<unsigned>(source.gcount()));
        ::zipCloseFileInZip(zip);
        if (::zipClose(zip, nullptr) != ZIP_OK) state.SkipWithError("not packed");
        if (isSynced) Sync(Folder() / "alone.zip");
    }
}
BENCHMARK_CAPTURE(ZipAlone, 0, false)
    ->Name("zip pack/minizip")
    ->Arg(payload)
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(ZipAlone, 1, true)
    ->Name("zip pack/minizip and fsync")
    ->Arg(payload)
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

void UnzipAlone(benchmark::State& state, bool isSynced) {
    Packed();
    Settle();
    std::vector<char> buffer(0x10000);
    for (auto _ : state) {
        unzFile const archive = ::unzOpen64(Packed().c_str());
        ::unzGoToFirstFile(archive);
        if (::unzOpenCurrentFile(archive) != UNZ_OK) state.SkipWithError("not opened");
        std::ofstream target(Folder() / "alone.bin", std::ios::binary);
        int count;
        while ((count = ::unzReadCurrentFile(archive, buffer.data(), static_cast<unsigned>(buffer.size()))) > 0)
            target.write(buffer.data(), count);
        if (::unzCloseCurrentFile(archive) != UNZ_OK) state.SkipWithError("not unpacked");
        ::unzClose(archive);
        target.close();
        if (isSynced) Sync(Folder() / "alone.bin");
    }
}
BENCHMARK_CAPTURE(UnzipAlone, 0, false)
    ->Name("zip unpack/minizip")
    ->Arg(payload)
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(UnzipAlone, 1, true)
    ->Name("zip unpack/minizip and fsync")
    ->Arg(payload)
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

void UnzipManyAlone(benchmark::State& state, bool isSynced) {
    std::vector<char> buffer(0x10000);
    ManyFiles();
    Settle();
    for (auto _ : state) {
        fs::path const folder = Emptied(state);
        unzFile const archive = ::unzOpen64(ManyFiles().c_str());
        int count = 0;
        for (int result = ::unzGoToFirstFile(archive); result == UNZ_OK; result = ::unzGoToNextFile(archive), ++count) {
            std::array<char, 260> name;
            ::unzGetCurrentFileInfo64(archive, nullptr, name.data(), name.size(), nullptr, 0, nullptr, 0);
            ::unzOpenCurrentFile(archive);
            std::ofstream target(folder / name.data(), std::ios::binary);
            int size;
            while ((size = ::unzReadCurrentFile(archive, buffer.data(), static_cast<unsigned>(buffer.size()))) > 0)
                target.write(buffer.data(), size);
            target.close();
            if (::unzCloseCurrentFile(archive) != UNZ_OK) state.SkipWithError("not unpacked");
            if (isSynced) Sync(folder / name.data());
        }
        ::unzClose(archive);
        if (count != many) state.SkipWithError("not unpacked");
    }
}
BENCHMARK_CAPTURE(UnzipManyAlone, 0, false)
    ->Name("zip unpack files/minizip")
    ->Arg(many)
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(UnzipManyAlone, 1, true)
    ->Name("zip unpack files/minizip and fsync")
    ->Arg(many)
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);
#endif

}  // namespace
