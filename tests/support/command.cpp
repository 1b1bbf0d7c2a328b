// SPDX-License-Identifier: GPL-3.0-or-later
#include "tests/support/command.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <stdexcept>
#include <system_error>

#include <fcntl.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace test {
namespace {

[[noreturn]] void throwErrno(const std::string& what) {
    throw std::system_error(errno, std::generic_category(), what);
}

} // namespace

class Process::Pipe {
  public:
    Pipe() {
        if (pipe2(ends_.data(), O_CLOEXEC) != 0) {
            throwErrno("pipe");
        }
    }
    ~Pipe() {
        closeEnd(0);
        closeEnd(1);
    }
    Pipe(const Pipe&) = delete;
    Pipe& operator=(const Pipe&) = delete;

    [[nodiscard]] int reading() const { return ends_[0]; }
    [[nodiscard]] int writing() const { return ends_[1]; }
    void closeReading() { closeEnd(0); }
    void closeWriting() { closeEnd(1); }

  private:
    void closeEnd(std::size_t end) {
        if (ends_[end] >= 0) {
            close(ends_[end]);
            ends_[end] = -1;
        }
    }
    std::array<int, 2> ends_{-1, -1};
};

namespace {

/// Takes what is there; false at the end of the stream.
bool drain(int descriptor, std::string& into) {
    std::array<char, 65536> buffer;
    const ssize_t count = read(descriptor, buffer.data(), buffer.size());
    if (count < 0) {
        return errno == EINTR || errno == EAGAIN;
    }
    into.append(buffer.data(), static_cast<std::size_t>(count));
    return count > 0;
}

std::vector<std::string> merged(const std::vector<std::pair<std::string, std::string>>& added) {
    std::vector<std::string> environment;
    for (char** entry = environ; *entry != nullptr; ++entry) {
        const std::string text = *entry;
        bool replaced = false;
        for (const auto& [name, value] : added) {
            replaced = replaced || text.starts_with(name + "=");
        }
        if (!replaced) {
            environment.push_back(text);
        }
    }
    for (const auto& [name, value] : added) {
        environment.push_back(name + "=" + value);
    }
    return environment;
}

std::vector<char*> pointers(const std::vector<std::string>& texts) {
    std::vector<char*> result;
    result.reserve(texts.size() + 1);
    for (const std::string& text : texts) {
        result.push_back(const_cast<char*>(text.c_str()));
    }
    result.push_back(nullptr);
    return result;
}

/// The child's side between fork and exec: async-signal-safe calls only.
[[noreturn]] void becomeProgram(char* const* arguments, char** environment, const char* folder,
                                const std::array<int, 3>& streams, int failure) {
    // A caller in the background may ignore the keyboard's signals; ignoring is inherited.
    for (const int number : {SIGINT, SIGQUIT, SIGTERM, SIGHUP, SIGPIPE}) {
        ::signal(number, SIG_DFL);
    }
    const bool ready = (folder == nullptr || chdir(folder) == 0) && dup2(streams[0], 0) == 0 &&
                       dup2(streams[1], 1) == 1 && dup2(streams[2], 2) == 2;
    if (ready) {
        environ = environment;
        execvp(arguments[0], arguments);
    }
    const int code = errno;
    [[maybe_unused]] const ssize_t ignored = write(failure, &code, sizeof code);
    _exit(127);
}

} // namespace

Process::Process(const std::vector<std::string>& arguments, const CommandOptions& options)
    : out_(std::make_unique<Pipe>()), err_(std::make_unique<Pipe>()) {
    const std::vector<std::string> environment = merged(options.environment);
    const std::vector<char*> argumentPointers = pointers(arguments);
    std::vector<char*> environmentPointers = pointers(environment);
    const char* folder = options.workingFolder.empty() ? nullptr : options.workingFolder.c_str();
    Pipe in;
    Pipe failure;
    in.closeWriting();

    child_ = fork();
    if (child_ < 0) {
        throwErrno("fork");
    }
    if (child_ == 0) {
        becomeProgram(argumentPointers.data(), environmentPointers.data(), folder,
                      {in.reading(), out_->writing(), err_->writing()}, failure.writing());
    }
    out_->closeWriting();
    err_->closeWriting();
    failure.closeWriting();
    // Closed by a successful exec, so this waits only until the program is there.
    int code = 0;
    if (read(failure.reading(), &code, sizeof code) == static_cast<ssize_t>(sizeof code)) {
        waitpid(child_, nullptr, 0);
        child_ = -1;
        throw std::system_error(code, std::generic_category(), arguments.at(0));
    }
}

Process::~Process() {
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
    std::array<pollfd, 2> streams{pollfd{out_->reading(), POLLIN, 0}, pollfd{err_->reading(), POLLIN, 0}};
    const std::array<std::string*, 2> texts{&result.out, &result.err};
    while (streams[0].fd >= 0 || streams[1].fd >= 0) {
        if (poll(streams.data(), streams.size(), -1) < 0 && errno != EINTR) {
            throwErrno("poll");
        }
        for (std::size_t i = 0; i < streams.size(); ++i) {
            if (streams[i].fd >= 0 && streams[i].revents != 0 && !drain(streams[i].fd, *texts[i])) {
                streams[i].fd = -1;
            }
        }
    }
    int status = 0;
    rusage usage{};
    while (wait4(child_, &status, 0, &usage) < 0 && errno == EINTR) {
    }
    child_ = -1;
    result.peakResidentBytes = static_cast<std::uint64_t>(usage.ru_maxrss) * 1024;
    if (WIFSIGNALED(status)) {
        result.signal = WTERMSIG(status);
    } else {
        result.exitCode = WEXITSTATUS(status);
    }
    return result;
}

CommandResult run(const std::vector<std::string>& arguments, const CommandOptions& options) {
    return Process(arguments, options).wait();
}

std::string runChecked(const std::vector<std::string>& arguments, const CommandOptions& options) {
    CommandResult result = run(arguments, options);
    if (result.exitCode != 0) {
        std::string command;
        for (const std::string& argument : arguments) {
            command += argument + ' ';
        }
        throw std::runtime_error(command + "failed:\n" + result.err);
    }
    return std::move(result.out);
}

} // namespace test
