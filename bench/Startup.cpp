// The cost of the shared library before main: mapping and relocation, and its static initialisers.
// The libraries that it needs are loaded before. Takes the library's path and prints both times in
// nanoseconds.

#include <dlfcn.h>
#include <elf.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <limits>
#include <string>

namespace {

/// The library without its static initialisers; the difference is their cost.
std::string withoutInitialisers(std::string library) {
    Elf64_Ehdr header{};
    std::memcpy(&header, library.data(), sizeof(header));
    for (std::size_t i = 0; i < header.e_phnum; ++i) {
        Elf64_Phdr segment{};
        std::memcpy(&segment, &library[header.e_phoff + i * sizeof(segment)], sizeof(segment));
        if (segment.p_type != PT_DYNAMIC) continue;
        for (std::size_t at = 0; at < segment.p_filesz; at += sizeof(Elf64_Dyn)) {
            Elf64_Dyn entry{};
            std::memcpy(&entry, &library[segment.p_offset + at], sizeof(entry));
            if (entry.d_tag != DT_INIT_ARRAYSZ) continue;
            entry.d_un.d_val = 0;
            std::memcpy(&library[segment.p_offset + at], &entry, sizeof(entry));
        }
    }
    return library;
}

/// Nanoseconds to load a library in a new process.
double loading(const std::string& path) {
    int ends[2];
    if (::pipe(ends) != 0) return 0;
    const auto child = ::fork();
    if (child == 0) {
        const auto before = std::chrono::steady_clock::now();
        const bool isLoaded = ::dlopen(path.c_str(), RTLD_NOW) != nullptr;
        const std::chrono::duration<double, std::nano> took =
            std::chrono::steady_clock::now() - before;
        const double result = isLoaded ? took.count() : 0;
        const bool isWritten = ::write(ends[1], &result, sizeof(result)) == sizeof(result);
        ::_exit(isLoaded && isWritten ? 0 : 1);
    }
    double result = 0;
    if (::read(ends[0], &result, sizeof(result)) != sizeof(result)) result = 0;
    ::close(ends[0]);
    ::close(ends[1]);
    ::waitpid(child, nullptr, 0);
    return result;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2 || ::dlopen(argv[1], RTLD_NOW) == nullptr) {
        std::cerr << "usage: startup LIBRARY\n";
        return 2;
    }
    std::ifstream file(argv[1], std::ios::binary);
    const std::string library{std::istreambuf_iterator<char>(file), {}};
    const std::string whole = std::string(argv[1]) + ".whole";
    const std::string bare = std::string(argv[1]) + ".bare";
    std::ofstream(whole, std::ios::binary) << library;
    std::ofstream(bare, std::ios::binary) << withoutInitialisers(library);
    // The fastest of many, since the difference is smaller than other delays of a process.
    double with = std::numeric_limits<double>::max();
    double without = with;
    for (int round = 0; round < 300; ++round) {
        with = std::min(with, loading(whole));
        without = std::min(without, loading(bare));
    }
    std::filesystem::remove(whole);
    std::filesystem::remove(bare);
    std::cout << without << ' ' << std::max(with - without, 0.0) << '\n';
}
