// Stand-ins for the calls into the system that the library and the libraries below it make. Each is
// the real call but when its turn to fail has come (tests/support/failing_allocations.h). What only
// gives something back (close, free, unlock) never fails: nobody could do anything about it.

#include "tests/proof/failing_system.h"

#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <netdb.h>
#include <poll.h>
#include <pthread.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>

#include "tests/support/failing_allocations.h"

namespace {

using corvenna::test::CallFails;

thread_local std::size_t tRemovalsFailed = 0;

template <class Call>
Call *Real(const char *name) {
    return reinterpret_cast<Call *>(dlsym(RTLD_NEXT, name));
}

}  // namespace

// A table of names, parameters and what a failure looks like; each row becomes a function.
#define STAND_IN(result, name, parameters, arguments, failure, reason) \
    extern "C" result name parameters {                                \
        static auto *const real = Real<result parameters>(#name);      \
        if (CallFails(#name)) {                                        \
            errno = (reason);                                          \
            return failure;                                            \
        }                                                              \
        return real arguments;                                         \
    }

#pragma GCC diagnostic push
// The C library's own declarations carry attributes that need not be repeated here.
#pragma GCC diagnostic ignored "-Wredundant-decls"

STAND_IN(FILE *, fopen, (const char *path, const char *mode), (path, mode), nullptr, EMFILE)
STAND_IN(FILE *, fopen64, (const char *path, const char *mode), (path, mode), nullptr, EMFILE)
STAND_IN(FILE *, fdopen, (int file, const char *mode), (file, mode), nullptr, ENOMEM)
STAND_IN(size_t, fwrite, (const void *data, size_t size, size_t count, FILE *file),
         (data, size, count, file), 0, ENOSPC)
STAND_IN(int, fflush, (FILE * file), (file), EOF, ENOSPC)
STAND_IN(int, fseek, (FILE * file, long offset, int whence), (file, offset, whence), -1, EIO)
STAND_IN(long, ftell, (FILE * file), (file), -1, EIO)
STAND_IN(ssize_t, read, (int file, void *data, size_t size), (file, data, size), -1, EIO)
STAND_IN(ssize_t, write, (int file, const void *data, size_t size), (file, data, size), -1, ENOSPC)
STAND_IN(ssize_t, pread, (int file, void *data, size_t size, off_t at), (file, data, size, at), -1,
         EIO)
STAND_IN(ssize_t, pread64, (int file, void *data, size_t size, off64_t at), (file, data, size, at),
         -1, EIO)
STAND_IN(ssize_t, pwrite, (int file, const void *data, size_t size, off_t at),
         (file, data, size, at), -1, ENOSPC)
STAND_IN(ssize_t, pwrite64, (int file, const void *data, size_t size, off64_t at),
         (file, data, size, at), -1, ENOSPC)
STAND_IN(int, fstat, (int file, struct stat *status), (file, status), -1, EIO)
STAND_IN(int, fstat64, (int file, struct stat64 *status), (file, status), -1, EIO)
STAND_IN(int, stat, (const char *path, struct stat *status), (path, status), -1, EIO)
STAND_IN(int, stat64, (const char *path, struct stat64 *status), (path, status), -1, EIO)
STAND_IN(int, access, (const char *path, int mode), (path, mode), -1, EIO)
STAND_IN(int, mkdir, (const char *path, mode_t mode), (path, mode), -1, ENOSPC)
STAND_IN(int, fsync, (int file), (file), -1, EIO)
STAND_IN(int, fdatasync, (int file), (file), -1, EIO)
STAND_IN(int, ftruncate, (int file, off_t size), (file, size), -1, EIO)
STAND_IN(int, ftruncate64, (int file, off64_t size), (file, size), -1, EIO)
STAND_IN(DIR *, opendir, (const char *path), (path), nullptr, EMFILE)
STAND_IN(int, socket, (int domain, int type, int protocol), (domain, type, protocol), -1, EMFILE)
STAND_IN(int, socketpair, (int domain, int type, int protocol, int *ends),
         (domain, type, protocol, ends), -1, EMFILE)
STAND_IN(int, pipe, (int *ends), (ends), -1, EMFILE)
STAND_IN(int, connect, (int file, const sockaddr *address, socklen_t length),
         (file, address, length), -1, ECONNREFUSED)
STAND_IN(int, setsockopt, (int file, int level, int name, const void *value, socklen_t length),
         (file, level, name, value, length), -1, ENOBUFS)
STAND_IN(int, getsockopt, (int file, int level, int name, void *value, socklen_t *length),
         (file, level, name, value, length), -1, ENOBUFS)
STAND_IN(ssize_t, send, (int file, const void *data, size_t size, int flags),
         (file, data, size, flags), -1, ECONNRESET)
STAND_IN(ssize_t, recv, (int file, void *data, size_t size, int flags), (file, data, size, flags),
         -1, ECONNRESET)
STAND_IN(int, poll, (pollfd * files, nfds_t count, int timeout), (files, count, timeout), -1,
         ENOMEM)
STAND_IN(int, getaddrinfo,
         (const char *node, const char *service, const addrinfo *hints, addrinfo **result),
         (node, service, hints, result), EAI_MEMORY, ENOMEM)
STAND_IN(int, pthread_create,
         (pthread_t * thread, const pthread_attr_t *attributes, void *(*body)(void *),
          void *argument),
         (thread, attributes, body, argument), EAGAIN, EAGAIN)
STAND_IN(int, pthread_attr_init, (pthread_attr_t * attributes), (attributes), ENOMEM, ENOMEM)
STAND_IN(pid_t, waitpid, (pid_t child, int *status, int options), (child, status, options), -1,
         ECHILD)

extern "C" int unlink(const char *path) {
    static auto *const real = Real<decltype(unlink)>("unlink");
    if (CallFails("unlink")) {
        ++tRemovalsFailed;
        errno = EROFS;
        return -1;
    }
    return real(path);
}

// A stream also remembers its error.
extern "C" size_t fread(void *data, size_t size, size_t count, FILE *file) {
    static auto *const real = Real<decltype(fread)>("fread");
    if (CallFails("fread")) {
        constexpr int kErrorSeen = 0x20;  // as the C library marks it
        file->_flags |= kErrorSeen;
        errno = EIO;
        return 0;
    }
    return real(data, size, count, file);
}

// A function that calls vfork must not return in the child; a copy of the process serves as well.
extern "C" pid_t vfork() {
    if (CallFails("vfork")) {
        errno = EAGAIN;
        return -1;
    }
    return fork();
}

#define STAND_IN_OPEN(name, parameters, arguments)               \
    extern "C" int name parameters {                             \
        static auto *const real = Real<int parameters>(#name);   \
        if (CallFails(#name)) {                                  \
            errno = EMFILE;                                      \
            return -1;                                           \
        }                                                        \
        va_list rest;                                            \
        va_start(rest, flags);                                   \
        const bool makes = (flags & (O_CREAT | O_TMPFILE)) != 0; \
        const mode_t mode = makes ? va_arg(rest, mode_t) : 0;    \
        va_end(rest);                                            \
        return real arguments;                                   \
    }

STAND_IN_OPEN(open, (const char *path, int flags, ...), (path, flags, mode))
STAND_IN_OPEN(open64, (const char *path, int flags, ...), (path, flags, mode))

#pragma GCC diagnostic pop

namespace corvenna::test {

std::size_t RemovalsFailed() {
    return tRemovalsFailed;
}

}  // namespace corvenna::test
