// SPDX-License-Identifier: GPL-3.0-or-later
#include "tests/support/command.h"

#include <cerrno>
#include <csignal>
#include <stdexcept>
#include <system_error>

#include <fcntl.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace test {
namespace {

/// What a program says on one of its streams.
class Said {
  public:
    Said() : descriptor_(memfd_create("said", MFD_CLOEXEC)) {
        if (descriptor_ < 0)
            throw std::system_error(errno, std::generic_category(), "memfd_create");
    }
    ~Said() { close(descriptor_); }
    Said(const Said&) = delete;
    Said& operator=(const Said&) = delete;

    [[nodiscard]] int descriptor() const { return descriptor_; }
    [[nodiscard]] std::string text() const {
        std::string text(static_cast<std::size_t>(lseek(descriptor_, 0, SEEK_END)), '\0');
        if (pread(descriptor_, text.data(), text.size(), 0) != static_cast<ssize_t>(text.size()))
            throw std::system_error(errno, std::generic_category(), "pread");
        return text;
    }

  private:
    int descriptor_;
};

} // namespace

CommandResult run(std::vector<std::string> arguments, const CommandOptions& options) {
    for (const auto& [name, value] : options.environment)
        arguments.insert(arguments.begin(), name + "=" + value);
    if (!options.environment.empty())
        arguments.insert(arguments.begin(), "env");
    std::vector<char*> words;
    for (std::string& word : arguments)
        words.push_back(word.data());
    words.push_back(nullptr);
    const Said out, err;
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    if (!options.workingFolder.empty())
        posix_spawn_file_actions_addchdir_np(&actions, options.workingFolder.c_str());
    posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_adddup2(&actions, out.descriptor(), 1);
    posix_spawn_file_actions_adddup2(&actions, err.descriptor(), 2);
    // A caller in the background may ignore the keyboard's signals; ignoring is inherited.
    sigset_t usual;
    sigemptyset(&usual);
    for (const int number : {SIGINT, SIGQUIT, SIGTERM, SIGHUP, SIGPIPE})
        sigaddset(&usual, number);
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setsigdefault(&attributes, &usual);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF);
    pid_t child = -1;
    const int code = posix_spawnp(&child, words[0], &actions, &attributes, words.data(), environ);
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
    if (code != 0)
        throw std::system_error(code, std::generic_category(), words[0]);
    int status = 0;
    rusage usage{};
    while (wait4(child, &status, 0, &usage) < 0 && errno == EINTR) {
    }
    return {out.text(), err.text(), WIFEXITED(status) ? WEXITSTATUS(status) : -1,
            static_cast<std::uint64_t>(usage.ru_maxrss) * 1024};
}

std::string runChecked(const std::vector<std::string>& arguments, const CommandOptions& options) {
    CommandResult result = run(arguments, options);
    if (result.exitCode != 0) {
        std::string command;
        for (const std::string& argument : arguments)
            command += argument + ' ';
        throw std::runtime_error(command + "failed:\n" + result.err);
    }
    return std::move(result.out);
}

} // namespace test
