// Scratch file names and safe file replacement.
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "libtools.h"

namespace {

// Writes all of `size` bytes, retrying short writes and interruptions.
bool WriteAll(int fd, const char *data, size_t size) {
    while (size > 0) {
        ssize_t n = write(fd, data, size);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return false;
        data += n;
        size -= static_cast<size_t>(n);
    }
    return true;
}

// Copies `from` to a new file beside `to`, flushes it to disk and renames it
// over `to`; `to` is replaced only once the copy is complete.
int CopyOver(const char *from, const char *to) {
    const size_t n = std::strlen(to);
    static const char kSuffix[] = ".imgXXXXXX";
    char *temp = static_cast<char *>(std::malloc(n + sizeof kSuffix));
    if (!temp) return -1;
    std::memcpy(temp, to, n);
    std::memcpy(temp + n, kSuffix, sizeof kSuffix);
    int result = -1;
    int in = open(from, O_RDONLY | O_CLOEXEC);
    int out = in >= 0 ? mkstemp(temp) : -1;
    if (out >= 0) {
        bool ok = true;
        char buffer[1 << 16];
        for (;;) {
            ssize_t got = read(in, buffer, sizeof buffer);
            if (got < 0 && errno == EINTR) continue;
            if (got < 0) { ok = false; break; }
            if (got == 0) break;
            if (!WriteAll(out, buffer, static_cast<size_t>(got))) { ok = false; break; }
        }
        struct stat st;
        if (ok && fstat(in, &st) == 0) fchmod(out, st.st_mode & 07777);
        ok = fsync(out) == 0 && ok;
        ok = close(out) == 0 && ok;
        if (ok && rename(temp, to) == 0) {
            unlink(from);
            result = 0;
        } else {
            unlink(temp);
        }
    }
    if (in >= 0) close(in);
    std::free(temp);
    return result;
}

}  // namespace

extern "C" {

// The scratch file is created (empty, mode 0600) in $TMPDIR, or in /tmp when
// that is unset or not a directory the file can be made in, so that its name
// cannot be taken by anyone else before the caller opens it; the caller
// removes it when done. On failure the buffer holds an empty string.
int imfGetTemporaryFilenameA(char *buffer, TLong capacity) {
    if (!buffer || capacity <= 0) return 0;
    buffer[0] = '\0';
    const char *env = std::getenv("TMPDIR");
    const char *dirs[2] = {env && *env ? env : "/tmp", "/tmp"};
    for (int i = 0; i < 2; ++i) {
        if (i == 1 && std::strcmp(dirs[0], dirs[1]) == 0) break;
        const int needed = std::snprintf(nullptr, 0, "%s/img-XXXXXX", dirs[i]);
        if (needed < 0 || needed >= capacity) continue;
        std::snprintf(buffer, static_cast<size_t>(capacity), "%s/img-XXXXXX", dirs[i]);
        const int fd = mkstemp(buffer);
        if (fd >= 0) {
            close(fd);
            return 1;
        }
        buffer[0] = '\0';
    }
    return 0;
}

// rename(2) replaces the target atomically. Across file systems, where it
// cannot, the old file is copied beside the target first and then renamed
// over it, so the target is never left half-written.
int imfFileRename(const char *old_name, const char *new_name) {
    if (!old_name || !new_name || !*old_name || !*new_name) return -1;
    if (rename(old_name, new_name) == 0) return 0;
    if (errno != EXDEV) return -1;
    return CopyOver(old_name, new_name);
}

}  // extern "C"
