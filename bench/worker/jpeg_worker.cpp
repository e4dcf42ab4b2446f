// A process that makes one lossless transform, so that its time and peak
// memory compare with jpegtran's as one process against another.
//   imge_jpeg_worker SRC DST           rotate 90 with trim
//   imge_jpeg_worker --peak PROG ARG...  runs PROG, prints its peak resident
//                                        set in KiB
// Linux keeps a process's peak across fork and exec, so a child of the
// (large) benchmark process would report the benchmark's own peak; a child
// forked from this small process reports its own.
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>

#include "libformat.h"

int main(int argc, char **argv) {
    if (argc >= 3 && std::strcmp(argv[1], "--peak") == 0) {
        const pid_t pid = fork();
        if (pid < 0) return 3;
        if (pid == 0) {
            execvp(argv[2], argv + 2);
            _exit(127);
        }
        int status = 0;
        rusage usage;
        if (wait4(pid, &status, 0, &usage) != pid) return 3;
        std::printf("%ld\n", usage.ru_maxrss);
        return WIFEXITED(status) ? WEXITSTATUS(status) : 3;
    }
    if (argc != 3) return 2;
    return imfJpegLosslessTransformEx(argv[1], argv[2], IMF_LOSSLESS_TRANSFORM_ROTATE90, IMF_LOSSLESS_TRIM) == 1 ? 0 : 1;
}
