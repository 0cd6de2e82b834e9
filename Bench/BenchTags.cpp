// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// Tag files beside plain system calls, HDF5, cereal and Boost.Serialization: ten million points as one array, a million
// scalars one by one, and scalars read in any order. Files stay in memory: what is measured is the code.
#include "hbtools/base/syEncoding.h"
#include "hbtools/base/syException.h"
#include "hbtools/persistence/syGeometryTags.h"
#include "hbtools/persistence/sySimpleTags.h"
#include "hbtools/persistence/syTagArchive.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <numeric>
#include <random>
#include <string>
#include <unordered_map>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

#ifdef HBTOOLS_BENCH_HDF5
#include <hdf5.h>
#endif
#ifdef HBTOOLS_BENCH_CEREAL
#include <cereal/archives/binary.hpp>
#include <cereal/types/vector.hpp>
#endif
#ifdef HBTOOLS_BENCH_BOOST
#include <boost/archive/binary_iarchive.hpp>
#include <boost/archive/binary_oarchive.hpp>
#include <boost/serialization/array.hpp>
#include <boost/serialization/array_wrapper.hpp>
#endif

using namespace KxN;

namespace {

constexpr int cloudSize = 10'000'000;
constexpr std::size_t cloudBytes = std::size_t{24} * cloudSize;

// In memory where there is such a file system: whether the disk is just writing something back decides otherwise.
std::string PathOf(char const* name) {
    std::filesystem::path folder = "/dev/shm";
    if (!std::filesystem::is_directory(folder)) folder = std::filesystem::temp_directory_path();
    return (folder / ("hbbench-" + std::to_string(::getpid()) + name)).string();
}

KxString WidePath(std::string const& path) {
    return KxString(KxxFromSystemPath(path));
}

/// Removes its file at the end of a benchmark.
struct TemporaryFile {
    explicit TemporaryFile(char const* name) : path(PathOf(name)) {}
    ~TemporaryFile() { std::filesystem::remove(path); }
    std::string path;
};

KxTArray<KxVec3d>& Cloud() {
    static KxTArray<KxVec3d> cloud = [] {
        KxTArray<KxVec3d> points(cloudSize);
        for (int i = 0; i < cloudSize; ++i) points[i] = KxVec3d(i, 0.5 * i, -i);
        return points;
    }();
    return cloud;
}

KxTArray<KxVec3d>& Target() {
    static KxTArray<KxVec3d> target(cloudSize);
    return target;
}

void Check(benchmark::State& state, void const* data) {
    if (std::memcmp(data, Cloud().Data(), cloudBytes) != 0) state.SkipWithError("the points are not the same");
}

void WriteAll(int descriptor, void const* data, std::size_t size) {
    auto const* bytes = static_cast<char const*>(data);
    while (size > 0) {
        ssize_t const put = ::write(descriptor, bytes, size);
        if (put <= 0) throw std::runtime_error("write failed");
        bytes += put;
        size -= static_cast<std::size_t>(put);
    }
}

void ReadAll(int descriptor, void* data, std::size_t size) {
    auto* bytes = static_cast<char*>(data);
    while (size > 0) {
        ssize_t const got = ::read(descriptor, bytes, size);
        if (got <= 0) throw std::runtime_error("read failed");
        bytes += got;
        size -= static_cast<std::size_t>(got);
    }
}

// ---- ten million points, written ----

void CloudWriteOurs(benchmark::State& state) {
    TemporaryFile const file("cloud.tag");
    Cloud();
    for (auto _ : state) {
        CFile stream(WidePath(file.path), CFile::modeCreate | CFile::modeReadWrite);
        KxTagArchive(&stream, 0) << KxVec3dArrayTag(1, Cloud());
        stream.Close();
    }
}
BENCHMARK(CloudWriteOurs)
    ->Name("cloud write/hbtools")
    ->Arg(cloudSize)
    ->Iterations(1)
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

void CloudWritePlain(benchmark::State& state) {
    TemporaryFile const file("cloud.raw");
    Cloud();
    for (auto _ : state) {
        int const descriptor = ::open(file.path.c_str(), O_CREAT | O_TRUNC | O_RDWR, 0666);
        WriteAll(descriptor, Cloud().Data(), cloudBytes);
        ::close(descriptor);
    }
}
BENCHMARK(CloudWritePlain)
    ->Name("cloud write/write")
    ->Arg(cloudSize)
    ->Iterations(1)
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

#ifdef HBTOOLS_BENCH_HDF5
void CloudWriteHdf5(benchmark::State& state) {
    TemporaryFile const file("cloud.h5");
    Cloud();
    for (auto _ : state) {
        hid_t const h5 = H5Fcreate(file.path.c_str(), H5F_ACC_TRUNC, H5P_DEFAULT, H5P_DEFAULT);
        hsize_t const shape[] = {cloudSize, 3};
        hid_t const space = H5Screate_simple(2, shape, nullptr);
        hid_t const set = H5Dcreate2(h5, "points", H5T_NATIVE_DOUBLE, space, H5P_DEFAULT, H5P_DEFAULT, H5P_DEFAULT);
        H5Dwrite(set, H5T_NATIVE_DOUBLE, H5S_ALL, H5S_ALL, H5P_DEFAULT, Cloud().Data());
        H5Dclose(set);
        H5Sclose(space);
        H5Fclose(h5);
    }
}
BENCHMARK(CloudWriteHdf5)
    ->Name("cloud write/HDF5")
    ->Arg(cloudSize)
    ->Iterations(1)
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);
#endif

#ifdef HBTOOLS_BENCH_CEREAL
void CloudWriteCereal(benchmark::State& state) {
    TemporaryFile const file("cloud.cereal");
    Cloud();
    for (auto _ : state) {
        std::ofstream stream(file.path, std::ios::binary);
        cereal::BinaryOutputArchive archive(stream);
        archive(cloudSize, cereal::binary_data(Cloud().Data(), cloudBytes));
    }
}
BENCHMARK(CloudWriteCereal)
    ->Name("cloud write/cereal")
    ->Arg(cloudSize)
    ->Iterations(1)
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);
#endif

#ifdef HBTOOLS_BENCH_BOOST
void CloudWriteBoost(benchmark::State& state) {
    TemporaryFile const file("cloud.boost");
    Cloud();
    for (auto _ : state) {
        std::ofstream stream(file.path, std::ios::binary);
        boost::archive::binary_oarchive archive(stream);
        archive << boost::serialization::make_array(&Cloud()[0][0], std::size_t{3} * cloudSize);
    }
}
BENCHMARK(CloudWriteBoost)
    ->Name("cloud write/Boost")
    ->Arg(cloudSize)
    ->Iterations(1)
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);
#endif

// ---- ten million points, read into memory that is there; the second argument shifts the payload in the file ----

void CloudReadOurs(benchmark::State& state) {
    TemporaryFile const file("cloud.tag");
    {
        CFile stream(WidePath(file.path), CFile::modeCreate | CFile::modeReadWrite);
        KxTagArchive archive(&stream, 0);
        KxString shift(std::wstring(static_cast<std::size_t>(state.range(1)), L'x'));
        archive << KxStringTag(2, shift) << KxVec3dArrayTag(1, Cloud());
        stream.Close();
    }
    Target();
    for (auto _ : state) {
        CFile stream(WidePath(file.path), CFile::modeRead);
        KxTagArchive(&stream, 1) >> KxVec3dArrayTag(1, Target());
    }
    Check(state, Target().Data());
}

template <bool bounce>
void CloudReadPlain(benchmark::State& state) {
    TemporaryFile const file("cloud.raw");
    // The head of our file is as long: two records, the text, the count.
    std::size_t const offset = 18 + static_cast<std::size_t>(state.range(1)) + 1 + 18 + 4;
    {
        int const descriptor = ::open(file.path.c_str(), O_CREAT | O_TRUNC | O_RDWR, 0666);
        std::string const head(offset, 'x');
        WriteAll(descriptor, head.data(), head.size());
        WriteAll(descriptor, Cloud().Data(), cloudBytes);
        ::close(descriptor);
    }
    Target();
    constexpr std::size_t block = 1 << 20;
    static char* const buffer = static_cast<char*>(std::aligned_alloc(4096, block));
    for (auto _ : state) {
        int const descriptor = ::open(file.path.c_str(), O_RDONLY);
        if (bounce) {
            auto* to = reinterpret_cast<char*>(Target().Data());
            ::lseek(descriptor, 0, SEEK_SET);
            std::size_t done = 0;
            std::size_t const whole = offset + cloudBytes;
            for (std::size_t position = 0; position < whole; position += block) {
                std::size_t const part = std::min(block, whole - position);
                ReadAll(descriptor, buffer, part);
                std::size_t const skip = position < offset ? offset - position : 0;
                std::memcpy(to + done, buffer + skip, part - skip);
                done += part - skip;
            }
        } else {
            ::lseek(descriptor, static_cast<off_t>(offset), SEEK_SET);
            ReadAll(descriptor, Target().Data(), cloudBytes);
        }
        ::close(descriptor);
    }
    Check(state, Target().Data());
}

#ifdef HBTOOLS_BENCH_HDF5
void CloudReadHdf5(benchmark::State& state) {
    TemporaryFile const file("cloud.h5");
    {
        hid_t const h5 = H5Fcreate(file.path.c_str(), H5F_ACC_TRUNC, H5P_DEFAULT, H5P_DEFAULT);
        hsize_t const shape[] = {cloudSize, 3};
        hid_t const space = H5Screate_simple(2, shape, nullptr);
        hid_t const set = H5Dcreate2(h5, "points", H5T_NATIVE_DOUBLE, space, H5P_DEFAULT, H5P_DEFAULT, H5P_DEFAULT);
        H5Dwrite(set, H5T_NATIVE_DOUBLE, H5S_ALL, H5S_ALL, H5P_DEFAULT, Cloud().Data());
        H5Dclose(set);
        H5Sclose(space);
        H5Fclose(h5);
    }
    Target();
    for (auto _ : state) {
        hid_t const h5 = H5Fopen(file.path.c_str(), H5F_ACC_RDONLY, H5P_DEFAULT);
        hid_t const set = H5Dopen2(h5, "points", H5P_DEFAULT);
        H5Dread(set, H5T_NATIVE_DOUBLE, H5S_ALL, H5S_ALL, H5P_DEFAULT, Target().Data());
        H5Dclose(set);
        H5Fclose(h5);
    }
    Check(state, Target().Data());
}
#endif

void Offsets(benchmark::internal::Benchmark* benchmark) {
    // Payload offsets in the file that are 40, 41, 47 and 64 modulo 64.
    for (int shift : {63, 0, 6, 23}) benchmark->Args({cloudSize, shift});
    benchmark->Iterations(1)->UseRealTime()->Unit(benchmark::kMillisecond);
}
BENCHMARK(CloudReadOurs)->Name("cloud read/hbtools")->Apply(Offsets);
BENCHMARK(CloudReadPlain<false>)->Name("cloud read/read")->Apply(Offsets);
BENCHMARK(CloudReadPlain<true>)->Name("cloud read/1 MiB bounce")->Apply(Offsets);
#ifdef HBTOOLS_BENCH_HDF5
BENCHMARK(CloudReadHdf5)->Name("cloud read/HDF5")->Apply(Offsets);
#endif

// ---- scalars one by one ----

void ScalarWriteOurs(benchmark::State& state) {
    TemporaryFile const file("scalars.tag");
    int const n = static_cast<int>(state.range(0));
    for (auto _ : state) {
        CFile stream(WidePath(file.path), CFile::modeCreate | CFile::modeReadWrite);
        KxTagArchive archive(&stream, 0);
        for (int i = 0; i < n; ++i) {
            double value = i;
            archive << KxTTag<double>(static_cast<unsigned long>(1000 + i), value);
        }
        stream.Close();
    }
}

void FillScalars(std::string const& path, int n) {
    CFile stream(WidePath(path), CFile::modeCreate | CFile::modeReadWrite);
    KxTagArchive archive(&stream, 0);
    for (int i = 0; i < n; ++i) {
        double value = i;
        archive << KxTTag<double>(static_cast<unsigned long>(1000 + i), value);
    }
    stream.Close();
}

void ScalarReadOurs(benchmark::State& state) {
    TemporaryFile const file("scalars.tag");
    int const n = static_cast<int>(state.range(0));
    FillScalars(file.path, n);
    for (auto _ : state) {
        CFile stream(WidePath(file.path), CFile::modeRead);
        KxTagArchive archive(&stream, 1);
        double sum = 0;
        for (int i = 0; i < n; ++i) {
            double value = 0;
            archive >> KxTTag<double>(static_cast<unsigned long>(1000 + i), value);
            sum += value;
        }
        if (sum != 0.5 * n * (n - 1.0)) state.SkipWithError("wrong values");
    }
}

#ifdef HBTOOLS_BENCH_CEREAL
void ScalarWriteCereal(benchmark::State& state) {
    TemporaryFile const file("scalars.cereal");
    int const n = static_cast<int>(state.range(0));
    for (auto _ : state) {
        std::ofstream stream(file.path, std::ios::binary);
        cereal::BinaryOutputArchive archive(stream);
        for (int i = 0; i < n; ++i) archive(1000 + i, static_cast<double>(i));
    }
}

void ScalarReadCereal(benchmark::State& state) {
    TemporaryFile const file("scalars.cereal");
    int const n = static_cast<int>(state.range(0));
    {
        std::ofstream stream(file.path, std::ios::binary);
        cereal::BinaryOutputArchive archive(stream);
        for (int i = 0; i < n; ++i) archive(1000 + i, static_cast<double>(i));
    }
    for (auto _ : state) {
        std::ifstream stream(file.path, std::ios::binary);
        cereal::BinaryInputArchive archive(stream);
        double sum = 0;
        for (int i = 0; i < n; ++i) {
            int id = 0;
            double value = 0;
            archive(id, value);
            sum += value;
        }
        if (sum != 0.5 * n * (n - 1.0)) state.SkipWithError("wrong values");
    }
}
#endif

#ifdef HBTOOLS_BENCH_BOOST
void ScalarWriteBoost(benchmark::State& state) {
    TemporaryFile const file("scalars.boost");
    int const n = static_cast<int>(state.range(0));
    for (auto _ : state) {
        std::ofstream stream(file.path, std::ios::binary);
        boost::archive::binary_oarchive archive(stream);
        for (int i = 0; i < n; ++i) {
            int const id = 1000 + i;
            double const value = i;
            archive << id << value;
        }
    }
}

void ScalarReadBoost(benchmark::State& state) {
    TemporaryFile const file("scalars.boost");
    int const n = static_cast<int>(state.range(0));
    {
        std::ofstream stream(file.path, std::ios::binary);
        boost::archive::binary_oarchive archive(stream);
        for (int i = 0; i < n; ++i) {
            int const id = 1000 + i;
            double const value = i;
            archive << id << value;
        }
    }
    for (auto _ : state) {
        std::ifstream stream(file.path, std::ios::binary);
        boost::archive::binary_iarchive archive(stream);
        double sum = 0;
        for (int i = 0; i < n; ++i) {
            int id = 0;
            double value = 0;
            archive >> id >> value;
            sum += value;
        }
        if (sum != 0.5 * n * (n - 1.0)) state.SkipWithError("wrong values");
    }
}
#endif

#ifdef HBTOOLS_BENCH_HDF5
// Attributes of one group, in the storage that HDF5 recommends for many.
hid_t FilledAttributes(std::string const& path, int n) {
    hid_t const access = H5Pcreate(H5P_FILE_ACCESS);
    H5Pset_libver_bounds(access, H5F_LIBVER_LATEST, H5F_LIBVER_LATEST);
    hid_t const h5 = H5Fcreate(path.c_str(), H5F_ACC_TRUNC, H5P_DEFAULT, access);
    hid_t const group = H5Gopen2(h5, "/", H5P_DEFAULT);
    hid_t const space = H5Screate(H5S_SCALAR);
    for (int i = 0; i < n; ++i) {
        double const value = i;
        hid_t const attribute =
            H5Acreate2(group, std::to_string(1000 + i).c_str(), H5T_NATIVE_DOUBLE, space, H5P_DEFAULT, H5P_DEFAULT);
        H5Awrite(attribute, H5T_NATIVE_DOUBLE, &value);
        H5Aclose(attribute);
    }
    H5Sclose(space);
    H5Gclose(group);
    H5Pclose(access);
    return h5;
}

void ScalarWriteHdf5(benchmark::State& state) {
    TemporaryFile const file("scalars.h5");
    for (auto _ : state) H5Fclose(FilledAttributes(file.path, static_cast<int>(state.range(0))));
}

double ReadAttribute(hid_t group, int i) {
    double value = 0;
    hid_t const attribute = H5Aopen(group, std::to_string(1000 + i).c_str(), H5P_DEFAULT);
    H5Aread(attribute, H5T_NATIVE_DOUBLE, &value);
    H5Aclose(attribute);
    return value;
}

void ScalarReadHdf5(benchmark::State& state) {
    TemporaryFile const file("scalars.h5");
    int const n = static_cast<int>(state.range(0));
    H5Fclose(FilledAttributes(file.path, n));
    for (auto _ : state) {
        hid_t const h5 = H5Fopen(file.path.c_str(), H5F_ACC_RDONLY, H5P_DEFAULT);
        hid_t const group = H5Gopen2(h5, "/", H5P_DEFAULT);
        double sum = 0;
        for (int i = 0; i < n; ++i) sum += ReadAttribute(group, i);
        if (sum != 0.5 * n * (n - 1.0)) state.SkipWithError("wrong values");
        H5Gclose(group);
        H5Fclose(h5);
    }
}
#endif

constexpr int scalars = 1'000'000;
constexpr int attributes = 20'000;

#define SCALARS(FUNCTION, NAME, N) BENCHMARK(FUNCTION)->Name(NAME)->Arg(N)->UseRealTime()->Unit(benchmark::kMillisecond)

SCALARS(ScalarWriteOurs, "scalar write/hbtools", scalars)->Arg(attributes);
SCALARS(ScalarReadOurs, "scalar read/hbtools", scalars)->Arg(attributes);
#ifdef HBTOOLS_BENCH_CEREAL
SCALARS(ScalarWriteCereal, "scalar write/cereal", scalars);
SCALARS(ScalarReadCereal, "scalar read/cereal", scalars);
#endif
#ifdef HBTOOLS_BENCH_BOOST
SCALARS(ScalarWriteBoost, "scalar write/Boost", scalars);
SCALARS(ScalarReadBoost, "scalar read/Boost", scalars);
#endif
#ifdef HBTOOLS_BENCH_HDF5
SCALARS(ScalarWriteHdf5, "scalar write/HDF5", attributes);
SCALARS(ScalarReadHdf5, "scalar read/HDF5", attributes);
#endif

// ---- scalars in any order; time of one read ----

enum class Order { reverse, random };

std::vector<int> OrderOf(int n, Order order) {
    std::vector<int> numbers(static_cast<std::size_t>(n));
    std::iota(numbers.begin(), numbers.end(), 0);
    if (order == Order::reverse)
        std::reverse(numbers.begin(), numbers.end());
    else
        std::shuffle(numbers.begin(), numbers.end(), std::mt19937(5));
    return numbers;
}

template <Order order>
void AnyOrderOurs(benchmark::State& state) {
    TemporaryFile const file("order.tag");
    int const n = static_cast<int>(state.range(0));
    FillScalars(file.path, n);
    std::vector<int> const numbers = OrderOf(n, order);
    // The first pass of an archive walks the chain; it is part of what is measured, once for each n reads.
    for (auto _ : state) {
        CFile stream(WidePath(file.path), CFile::modeRead);
        KxTagArchive archive(&stream, 1);
        double sum = 0;
        for (int i : numbers) {
            double value = 0;
            archive >> KxTTag<double>(static_cast<unsigned long>(1000 + i), value);
            sum += value;
        }
        if (sum != 0.5 * n * (n - 1.0)) state.SkipWithError("wrong values");
    }
    state.counters["ns each"] =
        benchmark::Counter(n, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

// What one would write by hand: an index of the positions, then one pread for each.
template <Order order>
void AnyOrderPread(benchmark::State& state) {
    TemporaryFile const file("order.tag");
    int const n = static_cast<int>(state.range(0));
    FillScalars(file.path, n);
    std::vector<int> const numbers = OrderOf(n, order);
    for (auto _ : state) {
        int const descriptor = ::open(file.path.c_str(), O_RDONLY);
        std::unordered_map<int, off_t> index;
        for (int i = 0; i < n; ++i) index[1000 + i] = 26 * static_cast<off_t>(i) + 18;
        double sum = 0;
        for (int i : numbers) {
            double value = 0;
            if (::pread(descriptor, &value, sizeof value, index[1000 + i]) != sizeof value) break;
            sum += value;
        }
        ::close(descriptor);
        if (sum != 0.5 * n * (n - 1.0)) state.SkipWithError("wrong values");
    }
}

#ifdef HBTOOLS_BENCH_HDF5
template <Order order>
void AnyOrderHdf5(benchmark::State& state) {
    TemporaryFile const file("order.h5");
    int const n = static_cast<int>(state.range(0));
    H5Fclose(FilledAttributes(file.path, n));
    std::vector<int> const numbers = OrderOf(n, order);
    for (auto _ : state) {
        hid_t const h5 = H5Fopen(file.path.c_str(), H5F_ACC_RDONLY, H5P_DEFAULT);
        hid_t const group = H5Gopen2(h5, "/", H5P_DEFAULT);
        double sum = 0;
        for (int i : numbers) sum += ReadAttribute(group, i);
        if (sum != 0.5 * n * (n - 1.0)) state.SkipWithError("wrong values");
        H5Gclose(group);
        H5Fclose(h5);
    }
}
BENCHMARK(AnyOrderHdf5<Order::reverse>)
    ->Name("reverse read/HDF5")
    ->Arg(1000)
    ->Arg(10000)
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK(AnyOrderHdf5<Order::random>)
    ->Name("random read/HDF5")
    ->Arg(1000)
    ->Arg(10000)
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);
#endif

void Sizes(benchmark::internal::Benchmark* benchmark) {
    benchmark->RangeMultiplier(10)->Range(1000, 1'000'000)->UseRealTime()->Unit(benchmark::kMillisecond);
}
BENCHMARK(AnyOrderOurs<Order::reverse>)->Name("reverse read/hbtools")->Apply(Sizes);
BENCHMARK(AnyOrderOurs<Order::random>)->Name("random read/hbtools")->Apply(Sizes);
BENCHMARK(AnyOrderPread<Order::reverse>)->Name("reverse read/pread with index")->Apply(Sizes);
BENCHMARK(AnyOrderPread<Order::random>)->Name("random read/pread with index")->Apply(Sizes);

}  // namespace
