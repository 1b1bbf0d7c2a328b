// SPDX-License-Identifier: GPL-3.0-or-later
// Makes one call of the program that it is loaded into (LD_PRELOAD) fail, for `tools/campaign faults`: it
// counts the calls of each kind from `main` on, those of all threads together, and refuses the one that it is
// told to.
//   FAULT_KIND    the kind of call: open read write … as in `kindNames`
//   FAULT_CALL    its number, from 1
//   FAULT_ERROR   errno's value, or "short" (half of the bytes), or "end" (a read at the end of the file)
//   FAULT_ON      set: every later call of the kind fails as well
//   FAULT_COUNTS  a file that gets the number of calls of each kind, a line each, when the program ends
//   FAULT_TRACE   set: where the refused call came from is shown on standard error
#include <array>
#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <dirent.h>
#include <dlfcn.h>
#include <execinfo.h>
#include <fcntl.h>
#include <pthread.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

enum Kind {
    Open,
    Read,
    Write,
    List,
    Make,
    Rename,
    Sync,
    Remove,
    Close,
    Truncate,
    Look,
    Lock,
    Thread,
    Allocate,
    kinds
};
constexpr std::array<const char*, kinds> kindNames{"open",   "read", "write",  "list",    "make",
                                                   "rename", "sync", "remove", "close",   "truncate",
                                                   "look",   "lock", "thread", "allocate"};

constexpr int shortened = -1; ///< in place of an error number
constexpr int atEnd = -2;

// Plain data, so that calls before the constructor and after the destructor are counted like others.
std::array<std::atomic<long>, kinds> counts;
std::atomic<bool> counting;
int faultKind = kinds;
long faultCall = 0;
int faultError = 0;
bool faultStays = false;
bool faultTrace = false;

/// The C library's own function of this name.
template <typename Function>
Function* next(const char* name) {
    return reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, name));
}

/// Counts a call; 0 when it goes through, else what becomes of it.
int fault(Kind kind) {
    if (!counting.load(std::memory_order_relaxed))
        return 0;
    const long number = counts[kind].fetch_add(1, std::memory_order_relaxed) + 1;
    if (kind != faultKind || (faultStays ? number < faultCall : number != faultCall))
        return 0;
    if (faultTrace) {
        counting = false; // showing allocates
        std::array<void*, 40> frames{};
        ::backtrace_symbols_fd(frames.data(), ::backtrace(frames.data(), frames.size()), STDERR_FILENO);
        counting = true;
    }
    if (faultError > 0)
        errno = faultError;
    return faultError;
}

/// A call without bytes: -1 with the error, or the real one.
template <typename Call>
auto guarded(Kind kind, Call call) -> decltype(call()) {
    return fault(kind) > 0 ? static_cast<decltype(call())>(-1) : call();
}

/// A call that moves `size` bytes.
template <typename Call>
ssize_t moved(Kind kind, std::size_t size, Call call) {
    const int what = fault(kind);
    if (what > 0)
        return -1;
    if (what == atEnd)
        return 0;
    return call(what == shortened && size > 1 ? size / 2 : size);
}

/// Whether the allocation by this caller fails. Libraries that crash for want of memory get theirs.
bool refused(const void* caller) {
    if (!counting.load(std::memory_order_relaxed))
        return false;
    Dl_info library{};
    if (::dladdr(caller, &library) != 0 && library.dli_fname != nullptr)
        for (const char* const fragile : {"/libicu", "/libav"})
            if (std::strstr(library.dli_fname, fragile) != nullptr)
                return false;
    return fault(Allocate) > 0;
}

struct Setup {
    Setup() {
        const auto text = [](const char* name) {
            const char* const value = std::getenv(name);
            return value != nullptr ? value : "";
        };
        for (int kind = 0; kind < kinds; ++kind)
            if (std::strcmp(kindNames[static_cast<std::size_t>(kind)], text("FAULT_KIND")) == 0)
                faultKind = kind;
        faultCall = std::atol(text("FAULT_CALL"));
        const char* const error = text("FAULT_ERROR");
        faultError = std::strcmp(error, "short") == 0 ? shortened
                     : std::strcmp(error, "end") == 0 ? atEnd
                                                      : std::atoi(error);
        faultStays = *text("FAULT_ON") != '\0';
        faultTrace = *text("FAULT_TRACE") != '\0';
        std::array<void*, 1> frame{};
        if (faultTrace)
            (void)::backtrace(frame.data(), 1); // loads what it needs
    }
    ~Setup() {
        counting = false;
        const char* const path = std::getenv("FAULT_COUNTS");
        std::FILE* const file = path != nullptr ? std::fopen(path, "w") : nullptr;
        if (file == nullptr)
            return;
        for (std::size_t kind = 0; kind < kinds; ++kind)
            (void)std::fprintf(file, "%s %ld\n", kindNames[kind], counts[kind].load());
        (void)std::fclose(file);
    }
} setup;

using Main = int(int, char**, char**);
Main* realMain = nullptr;
int countedMain(int argc, char** argv, char** environment) {
    counting = true;
    return realMain(argc, argv, environment);
}

mode_t modeOf(int flags, std::va_list arguments) {
    return (flags & (O_CREAT | O_TMPFILE)) != 0 ? va_arg(arguments, mode_t) : 0;
}

} // namespace

#define FAULT_OPEN(name, parameters, ...)                                                                    \
    int name parameters {                                                                                    \
        std::va_list arguments;                                                                              \
        va_start(arguments, flags);                                                                          \
        const mode_t mode = modeOf(flags, arguments);                                                        \
        va_end(arguments);                                                                                   \
        return guarded(Open, [&] { return next<decltype(name)>(#name)(__VA_ARGS__, mode); });                \
    }
#define FAULT_CALL(kind, type, name, parameters, ...)                                                        \
    type name parameters {                                                                                   \
        return guarded(kind, [&] { return next<decltype(name)>(#name)(__VA_ARGS__); });                      \
    }

extern "C" {

int __libc_start_main(Main* main, int argc, char** argv, void (*init)(), void (*fini)(), void (*unload)(),
                      void* stack) {
    realMain = main;
    return next<decltype(__libc_start_main)>("__libc_start_main")(countedMain, argc, argv, init, fini, unload,
                                                                  stack);
}

FAULT_OPEN(open, (const char* path, int flags, ...), path, flags)
FAULT_OPEN(open64, (const char* path, int flags, ...), path, flags)
FAULT_OPEN(openat, (int folder, const char* path, int flags, ...), folder, path, flags)
FAULT_OPEN(openat64, (int folder, const char* path, int flags, ...), folder, path, flags)
FAULT_CALL(Open, int, mkostemp, (char* name, int flags), name, flags)

ssize_t pread(int file, void* out, std::size_t size, off_t offset) {
    return moved(Read, size,
                 [&](std::size_t part) { return next<decltype(pread)>("pread")(file, out, part, offset); });
}
ssize_t pread64(int file, void* out, std::size_t size, off64_t offset) {
    return moved(Read, size, [&](std::size_t part) {
        return next<decltype(pread64)>("pread64")(file, out, part, offset);
    });
}
ssize_t read(int file, void* out, std::size_t size) {
    return moved(Read, size, [&](std::size_t part) { return next<decltype(read)>("read")(file, out, part); });
}
ssize_t pwrite(int file, const void* data, std::size_t size, off_t offset) {
    return moved(Write, size, [&](std::size_t part) {
        return next<decltype(pwrite)>("pwrite")(file, data, part, offset);
    });
}
ssize_t pwrite64(int file, const void* data, std::size_t size, off64_t offset) {
    return moved(Write, size, [&](std::size_t part) {
        return next<decltype(pwrite64)>("pwrite64")(file, data, part, offset);
    });
}
ssize_t write(int file, const void* data, std::size_t size) {
    return moved(Write, size,
                 [&](std::size_t part) { return next<decltype(write)>("write")(file, data, part); });
}

DIR* opendir(const char* path) {
    return fault(List) > 0 ? nullptr : next<decltype(opendir)>("opendir")(path);
}
DIR* fdopendir(int file) {
    return fault(List) > 0 ? nullptr : next<decltype(fdopendir)>("fdopendir")(file);
}
struct dirent* readdir(DIR* folder) {
    return fault(List) > 0 ? nullptr : next<decltype(readdir)>("readdir")(folder);
}
struct dirent64* readdir64(DIR* folder) {
    return fault(List) > 0 ? nullptr : next<decltype(readdir64)>("readdir64")(folder);
}
ssize_t getdents64(int folder, void* out, std::size_t size) noexcept {
    return guarded(List, [&] { return next<decltype(getdents64)>("getdents64")(folder, out, size); });
}

FAULT_CALL(Make, int, mkdir, (const char* path, mode_t mode), path, mode)
FAULT_CALL(Make, int, mkdirat, (int folder, const char* path, mode_t mode), folder, path, mode)
FAULT_CALL(Rename, int, rename, (const char* from, const char* to), from, to)
FAULT_CALL(Rename, int, renameat, (int a, const char* from, int b, const char* to), a, from, b, to)
FAULT_CALL(Rename, int, renameat2, (int a, const char* from, int b, const char* to, unsigned flags), a, from,
           b, to, flags)
FAULT_CALL(Sync, int, fsync, (int file), file)
FAULT_CALL(Sync, int, fdatasync, (int file), file)
FAULT_CALL(Remove, int, unlink, (const char* path), path)
FAULT_CALL(Remove, int, unlinkat, (int folder, const char* path, int flags), folder, path, flags)
FAULT_CALL(Remove, int, rmdir, (const char* path), path)
FAULT_CALL(Remove, int, remove, (const char* path), path)
FAULT_CALL(Truncate, int, ftruncate, (int file, off_t size), file, size)
FAULT_CALL(Truncate, int, ftruncate64, (int file, off64_t size), file, size)
FAULT_CALL(Truncate, int, fchmod, (int file, mode_t mode), file, mode)
FAULT_CALL(Look, int, stat, (const char* path, struct stat* status), path, status)
FAULT_CALL(Look, int, lstat, (const char* path, struct stat* status), path, status)
FAULT_CALL(Look, int, fstat, (int file, struct stat* status), file, status)
FAULT_CALL(Look, int, fstatat, (int folder, const char* path, struct stat* status, int flags), folder, path,
           status, flags)
FAULT_CALL(Look, int, stat64, (const char* path, struct stat64* status), path, status)
FAULT_CALL(Look, int, lstat64, (const char* path, struct stat64* status), path, status)
FAULT_CALL(Look, int, fstat64, (int file, struct stat64* status), file, status)
FAULT_CALL(Look, int, fstatat64, (int folder, const char* path, struct stat64* status, int flags), folder,
           path, status, flags)
FAULT_CALL(Look, int, statx, (int folder, const char* path, int flags, unsigned mask, struct statx* status),
           folder, path, flags, mask, status)
FAULT_CALL(Lock, int, flock, (int file, int operation), file, operation)

/// The descriptor is closed all the same, as Linux does.
int close(int file) {
    const int result = next<decltype(close)>("close")(file);
    return fault(Close) > 0 ? -1 : result;
}

int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*start)(void*),
                   void* argument) {
    const int error = fault(Thread);
    return error > 0 ? error
                     : next<decltype(pthread_create)>("pthread_create")(thread, attributes, start, argument);
}

/// What other libraries do while they are loaded is not the program's: some end it when memory is short.
void* dlopen(const char* path, int mode) {
    const bool counted = counting.exchange(false);
    void* const result = next<decltype(dlopen)>("dlopen")(path, mode);
    counting = counted;
    return result;
}

// The C library's own functions under their other names: dlsym may allocate. `new` comes this way, too.
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* memory, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);

void* malloc(std::size_t size) {
    return refused(__builtin_return_address(0)) ? nullptr : __libc_malloc(size);
}
void* calloc(std::size_t count, std::size_t size) {
    return refused(__builtin_return_address(0)) ? nullptr : __libc_calloc(count, size);
}
void* realloc(void* memory, std::size_t size) {
    return refused(__builtin_return_address(0)) ? nullptr : __libc_realloc(memory, size);
}
void* memalign(std::size_t alignment, std::size_t size) {
    return refused(__builtin_return_address(0)) ? nullptr : __libc_memalign(alignment, size);
}
void* aligned_alloc(std::size_t alignment, std::size_t size) {
    return refused(__builtin_return_address(0)) ? nullptr : __libc_memalign(alignment, size);
}
int posix_memalign(void** memory, std::size_t alignment, std::size_t size) {
    *memory = refused(__builtin_return_address(0)) ? nullptr : __libc_memalign(alignment, size);
    return *memory != nullptr ? 0 : ENOMEM;
}

} // extern "C"
