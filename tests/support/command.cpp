// SPDX-License-Identifier: GPL-3.0-or-later
#include "tests/support/command.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <stdexcept>
#include <system_error>

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace test {
namespace {

/// Takes what is there; false at the end of the stream.
bool drain(int descriptor, std::string& into) {
    std::array<char, 65536> buffer;
    const ssize_t count = read(descriptor, buffer.data(), buffer.size());
    if (count < 0)
        return errno == EINTR || errno == EAGAIN;
    into.append(buffer.data(), static_cast<std::size_t>(count));
    return count > 0;
}

/// The caller's environment with what is added, each word a "NAME=value".
std::vector<std::string> merged(const std::vector<std::pair<std::string, std::string>>& added) {
    std::vector<std::string> environment;
    for (char** entry = environ; *entry != nullptr; ++entry)
        environment.emplace_back(*entry);
    for (const auto& [name, value] : added) {
        std::erase_if(environment, [&](const std::string& word) { return word.starts_with(name + "="); });
        environment.push_back(name + "=" + value);
    }
    return environment;
}

std::vector<char*> pointers(const std::vector<std::string>& texts) {
    std::vector<char*> result;
    for (const std::string& text : texts)
        result.push_back(const_cast<char*>(text.c_str()));
    result.push_back(nullptr);
    return result;
}

} // namespace

Process::Process(const std::vector<std::string>& arguments, const CommandOptions& options) {
    int out[2], err[2];
    if (pipe2(out, O_CLOEXEC) != 0 || pipe2(err, O_CLOEXEC) != 0)
        throw std::system_error(errno, std::generic_category(), "pipe");
    out_ = out[0];
    err_ = err[0];
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    if (!options.workingFolder.empty())
        posix_spawn_file_actions_addchdir_np(&actions, options.workingFolder.c_str());
    posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_adddup2(&actions, out[1], 1);
    posix_spawn_file_actions_adddup2(&actions, err[1], 2);
    // A caller in the background may ignore the keyboard's signals; ignoring is inherited.
    sigset_t usual;
    sigemptyset(&usual);
    for (const int number : {SIGINT, SIGQUIT, SIGTERM, SIGHUP, SIGPIPE})
        sigaddset(&usual, number);
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setsigdefault(&attributes, &usual);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF);
    const std::vector<std::string> environment = merged(options.environment);
    const int code = posix_spawnp(&child_, arguments.at(0).c_str(), &actions, &attributes,
                                  pointers(arguments).data(), pointers(environment).data());
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
    close(out[1]);
    close(err[1]);
    if (code != 0) {
        close(out_);
        close(err_);
        throw std::system_error(code, std::generic_category(), arguments.at(0));
    }
}

Process::~Process() {
    close(out_);
    close(err_);
    if (child_ >= 0) {
        kill(child_, SIGKILL);
        waitpid(child_, nullptr, 0);
    }
}

void Process::send(int signal) const {
    kill(child_, signal);
}

CommandResult Process::wait() {
    CommandResult result;
    std::array<pollfd, 2> streams{pollfd{out_, POLLIN, 0}, pollfd{err_, POLLIN, 0}};
    const std::array<std::string*, 2> texts{&result.out, &result.err};
    while (streams[0].fd >= 0 || streams[1].fd >= 0) {
        if (poll(streams.data(), streams.size(), -1) < 0 && errno != EINTR)
            throw std::system_error(errno, std::generic_category(), "poll");
        for (std::size_t i = 0; i < streams.size(); ++i)
            if (streams[i].fd >= 0 && streams[i].revents != 0 && !drain(streams[i].fd, *texts[i]))
                streams[i].fd = -1;
    }
    int status = 0;
    rusage usage{};
    while (wait4(child_, &status, 0, &usage) < 0 && errno == EINTR) {
    }
    child_ = -1;
    result.peakResidentBytes = static_cast<std::uint64_t>(usage.ru_maxrss) * 1024;
    if (WIFSIGNALED(status))
        result.signal = WTERMSIG(status);
    else
        result.exitCode = WEXITSTATUS(status);
    return result;
}

CommandResult run(const std::vector<std::string>& arguments, const CommandOptions& options) {
    return Process(arguments, options).wait();
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
