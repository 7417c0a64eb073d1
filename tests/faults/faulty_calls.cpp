// Linked into a second copy of the program, in front of the C library (ld's --wrap): lets a system
// call, or an allocation, fail at a chosen moment, as on a machine that is short of something.
//
// The environment variable CODETEXT_FAIL holds "CALL:N": the Nth call of CALL fails, or "CALL:N+":
// that one and all after it. When no call failed, the program says "no fault" at its end.

#include <fcntl.h>
#include <pthread.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <new>

namespace {

const char* planned = "";
long first_failing = 0;
bool goes_on = false;
std::atomic<long> calls = 0;
std::atomic<bool> has_failed = false;
bool is_in_main = false;

[[gnu::constructor]] void read_plan() {
    static char name[32];
    const char* text = std::getenv("CODETEXT_FAIL");
    if (text == nullptr) return;
    const std::size_t length = std::strcspn(text, ":");
    std::memcpy(name, text, length);
    first_failing = std::atol(text + length + 1);
    goes_on = text[std::strlen(text) - 1] == '+';
    planned = name;
}

[[gnu::destructor]] void say_when_nothing_failed() {
    if (*planned == 0 || has_failed) return;
    [[maybe_unused]] const ssize_t written = ::write(STDERR_FILENO, "no fault\n", 9);
}

bool fails(const char* call, int error) {
    if (!is_in_main || std::strcmp(call, planned) != 0) return false;
    const long number = ++calls;
    if (number != first_failing && !(goes_on && number > first_failing)) return false;
    has_failed = true;
    errno = error;
    return true;
}

}  // namespace

#define CODETEXT_WRAPPED(result, name, call, error, failure, parameters, arguments) \
    extern "C" result __real_##name parameters;                                     \
    extern "C" result __wrap_##name parameters {                                    \
        if (fails(call, error)) return failure;                                     \
        return __real_##name arguments;                                             \
    }

CODETEXT_WRAPPED(int, open, "open", EMFILE, -1, (const char* path, int flags, mode_t mode),
                 (path, flags, mode))
CODETEXT_WRAPPED(int, openat, "open", EMFILE, -1,
                 (int directory, const char* path, int flags, mode_t mode),
                 (directory, path, flags, mode))
CODETEXT_WRAPPED(ssize_t, read, "read", EIO, -1, (int file, void* to, size_t size),
                 (file, to, size))
CODETEXT_WRAPPED(ssize_t, pread, "read", EIO, -1, (int file, void* to, size_t size, off_t at),
                 (file, to, size, at))
CODETEXT_WRAPPED(ssize_t, pread64, "read", EIO, -1, (int file, void* to, size_t size, off_t at),
                 (file, to, size, at))
CODETEXT_WRAPPED(ssize_t, write, "write", ENOSPC, -1, (int file, const void* from, size_t size),
                 (file, from, size))
CODETEXT_WRAPPED(ssize_t, pwrite, "write", ENOSPC, -1,
                 (int file, const void* from, size_t size, off_t at), (file, from, size, at))
CODETEXT_WRAPPED(ssize_t, pwrite64, "write", ENOSPC, -1,
                 (int file, const void* from, size_t size, off_t at), (file, from, size, at))
CODETEXT_WRAPPED(int, fsync, "fsync", EIO, -1, (int file), (file))
CODETEXT_WRAPPED(int, fdatasync, "fsync", EIO, -1, (int file), (file))
CODETEXT_WRAPPED(int, ftruncate, "write", EIO, -1, (int file, off_t size), (file, size))
CODETEXT_WRAPPED(int, ftruncate64, "write", EIO, -1, (int file, off_t size), (file, size))
CODETEXT_WRAPPED(int, rename, "rename", EACCES, -1, (const char* from, const char* to), (from, to))
CODETEXT_WRAPPED(int, unlink, "rename", EACCES, -1, (const char* path), (path))
CODETEXT_WRAPPED(int, remove, "rename", EACCES, -1, (const char* path), (path))
CODETEXT_WRAPPED(int, fchmodat, "rename", EPERM, -1,
                 (int directory, const char* path, mode_t mode, int flags),
                 (directory, path, mode, flags))
CODETEXT_WRAPPED(void*, mmap, "mmap", ENOMEM, MAP_FAILED,
                 (void* at, size_t size, int protection, int flags, int file, off_t offset),
                 (at, size, protection, flags, file, offset))
CODETEXT_WRAPPED(void*, mmap64, "mmap", ENOMEM, MAP_FAILED,
                 (void* at, size_t size, int protection, int flags, int file, off_t offset),
                 (at, size, protection, flags, file, offset))
CODETEXT_WRAPPED(int, pthread_create, "thread", EAGAIN, EAGAIN,
                 (pthread_t * thread, const pthread_attr_t* attributes, void* (*start)(void*),
                  void* argument),
                 (thread, attributes, start, argument))
CODETEXT_WRAPPED(void*, malloc, "malloc", ENOMEM, nullptr, (size_t size), (size))
CODETEXT_WRAPPED(void*, calloc, "malloc", ENOMEM, nullptr, (size_t count, size_t size),
                 (count, size))
CODETEXT_WRAPPED(void*, realloc, "malloc", ENOMEM, nullptr, (void* old, size_t size), (old, size))

// main begins with this call. Before it nothing of the program could report a failure.
extern "C" int __real_mallopt(int option, int value);
extern "C" int __wrap_mallopt(int option, int value) {
    is_in_main = true;
    return __real_mallopt(option, value);
}

// The C++ library calls it too, to wait for threads.
extern "C" long __real_syscall(long number, long a, long b, long c, long d, long e, long f);
extern "C" long __wrap_syscall(long number, long a, long b, long c, long d, long e, long f) {
    if (number == SYS_openat2 && fails("open", EMFILE)) return -1;
    return __real_syscall(number, a, b, c, d, e, f);
}

void* operator new(std::size_t size) {
    void* memory = std::malloc(size == 0 ? 1 : size);
    if (memory == nullptr) throw std::bad_alloc();
    return memory;
}
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
