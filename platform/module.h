// SPDX-License-Identifier: GPL-3.0-or-later
// Parts of the program that are loaded when they are first needed, and how such a part marks what it offers.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

/// Before the declaration of a module's entry point: everything else in a module is hidden.
#define FERROWICK_MODULE_ENTRY extern "C" [[gnu::visibility("default")]]

namespace platform {

/// A loaded module. It stays loaded until the process ends, so what it handed out stays valid.
class Module {
  public:
    /// Loads the module with this name (without the system's ending, such as "ferrowick-window") from the
    /// first of `moduleFolders` that holds it. Throws std::runtime_error with a sentence that says what is
    /// missing.
    [[nodiscard]] static Module load(const std::string& name);

    /// The entry point with this name as a pointer to a function. Throws std::runtime_error when the module
    /// has none.
    template <class Function>
    [[nodiscard]] Function* function(const char* entry) const {
        return reinterpret_cast<Function*>(address(entry));
    }

  private:
    Module(void* handle, std::filesystem::path path) : handle_(handle), path_(std::move(path)) {}
    [[nodiscard]] void* address(const char* entry) const;

    void* handle_;
    std::filesystem::path path_;
};

/// Where modules are looked for: beside the executable (a build folder), then in the library folder of the
/// installation that the executable lies in.
[[nodiscard]] std::vector<std::filesystem::path> moduleFolders();

} // namespace platform
