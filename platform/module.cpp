// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/module.h"

#include <stdexcept>

#include <dlfcn.h>
#include <sys/auxv.h>

namespace platform {

namespace {

/// The program's own file; where no /proc is mounted, by the name that it was started with.
std::filesystem::path executable() {
    std::error_code error;
    std::filesystem::path file = std::filesystem::read_symlink("/proc/self/exe", error);
    if (error)
        // NOLINTNEXTLINE(performance-no-int-to-ptr): the system tells the name's address as a number
        file = std::filesystem::canonical(reinterpret_cast<const char*>(::getauxval(AT_EXECFN)), error);
    return file;
}

} // namespace

std::vector<std::filesystem::path> moduleFolders() {
    const std::filesystem::path folder = executable().parent_path();
    if (folder.empty()) // never what happens to lie in the current folder
        return {};
    std::vector<std::filesystem::path> folders = {folder};
    for (const char* const installed : {FERROWICK_MODULE_FOLDER, "../lib/ferrowick"}) {
        std::filesystem::path candidate = (folder / installed).lexically_normal();
        if (candidate != folders.back())
            folders.push_back(std::move(candidate));
    }
    return folders;
}

Module Module::load(const std::string& name) {
    const std::string fileName = name + ".so";
    std::string places;
    for (const std::filesystem::path& folder : moduleFolders()) {
        const std::filesystem::path path = folder / fileName;
        std::error_code ignored;
        if (std::filesystem::exists(path, ignored)) {
            if (void* const handle = ::dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL))
                return {handle, path};
            const char* const reason = ::dlerror();
            throw std::runtime_error("A part of Ferrowick can't be loaded: " +
                                     std::string(reason != nullptr ? reason : path.c_str()) + ".");
        }
        places += (places.empty() ? "" : ", ") + folder.string();
    }
    throw std::runtime_error("A part of Ferrowick is missing: " + fileName + " is in none of " + places +
                             ".");
}

void* Module::address(const char* entry) const {
    void* const found = ::dlsym(handle_, entry);
    if (found == nullptr)
        throw std::runtime_error("A part of Ferrowick is of another version: " + path_.string() + " has no " +
                                 entry + ".");
    return found;
}

} // namespace platform
