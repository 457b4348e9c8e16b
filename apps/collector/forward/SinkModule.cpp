#include "collector/forward/SinkModule.h"

#include <dlfcn.h>

#include <array>
#include <cstring>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <utility>

namespace zentara::collector {

namespace {

constexpr std::array<std::pair<std::string_view, std::string_view>, 3> modules{
    {{"kafka://", "kafka"}, {"postgresql://", "postgresql"}, {"postgres://", "postgresql"}}};

std::filesystem::path moduleFile(std::string_view name) {
    const auto program = std::filesystem::read_symlink("/proc/self/exe").parent_path();
    const std::string file = "zentara-forward-" + std::string(name) + ".so";
    for (const char* folder : {ZENTARA_MODULE_FOLDERS}) {
        auto path = (program / folder / file).lexically_normal();
        if (std::filesystem::exists(path)) return path;
    }
    throw std::runtime_error(file + " is not there; the package zentara-forward has it");
}

}  // namespace

std::string_view sinkModuleFor(std::string_view url) {
    for (const auto& [scheme, name] : modules) {
        if (url.starts_with(scheme)) return name;
    }
    return {};
}

std::unique_ptr<Sink> makeSink(const Sink::Settings& settings) {
    const auto file = moduleFile(sinkModuleFor(settings.url));
    void* const module = ::dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (module == nullptr) throw std::runtime_error(::dlerror());
    void* const symbol = ::dlsym(module, "zentara_make_sink");
    if (symbol == nullptr)
        throw std::runtime_error(file.string() + " is not a module of this collector");
    MakeSink* make = nullptr;
    std::memcpy(&make, &symbol, sizeof make);
    return std::unique_ptr<Sink>(make(settings));
}

}  // namespace zentara::collector
