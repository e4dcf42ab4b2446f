// Lossless rotation of a 4000 x 3000 4:2:0 quality 90 JPEG (90 degrees with
// trim) beside `jpegtran -copy all -optimize -rotate 90 -trim` on the same
// file: in this process, and as a process of its own (imge_jpeg_worker)
// against jpegtran's process, with each process's peak resident memory.
// Both processes are started the same way (through the worker's --peak
// mode), so the start-up costs are alike.
#include <benchmark/benchmark.h>

#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csetjmp>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include <jpeglib.h>

#include "bench_common.h"
#include "libformat.h"
#include "libtools.h"

extern char **environ;

namespace {

struct JpegFailure {
    jpeg_error_mgr pub;
    std::jmp_buf jump;
};

[[noreturn]] void JumpOut(j_common_ptr c) { std::longjmp(reinterpret_cast<JpegFailure *>(c->err)->jump, 1); }

bool Compress(const IMF_BITMAP &b, FILE *out) {
    jpeg_compress_struct c;
    JpegFailure f;
    std::memset(&c, 0, sizeof c);
    c.err = jpeg_std_error(&f.pub);
    f.pub.error_exit = JumpOut;
    if (setjmp(f.jump)) {
        jpeg_destroy_compress(&c);
        return false;
    }
    jpeg_create_compress(&c);
    jpeg_stdio_dest(&c, out);
    c.image_width = JDIMENSION(b.Width);
    c.image_height = JDIMENSION(b.Height);
    c.input_components = 3;
    c.in_color_space = JCS_RGB;
    jpeg_set_defaults(&c);
    jpeg_set_quality(&c, 90, TRUE);  // 4:2:0 by default
    jpeg_start_compress(&c, TRUE);
    while (c.next_scanline < c.image_height) {
        JSAMPROW row = b.Data + static_cast<long long>(c.next_scanline) * b.BytesPerLine;
        jpeg_write_scanlines(&c, &row, 1);
    }
    jpeg_finish_compress(&c);
    jpeg_destroy_compress(&c);
    return true;
}

// The test file, made once per run and removed at exit.
struct Photo {
    std::string dir, src, dst;
    bool ok = false;
    Photo() {
        char tmpl[] = "/tmp/imge-bench-jpeg-XXXXXX";
        if (mkdtemp(tmpl) == nullptr) return;
        dir = tmpl;
        src = dir + "/photo.jpg";
        dst = dir + "/out.jpg";
        IMF_BITMAP b = bench::MakePhoto(bench::kWidth, bench::kHeight, IMF_RGB);
        if (FILE *f = std::fopen(src.c_str(), "wb")) {
            ok = Compress(b, f);
            ok = std::fclose(f) == 0 && ok;
        }
        imfFree(&b);
    }
    ~Photo() {
        std::remove(src.c_str());
        std::remove(dst.c_str());
        rmdir(dir.c_str());
    }
};

const Photo &ThePhoto() {
    static const Photo photo;
    return photo;
}

// Runs args as a grandchild through the worker's --peak mode; its peak
// resident set in KiB, or -1 on failure.
long RunChild(const std::vector<std::string> &command) {
    std::vector<std::string> args = {IMGE_JPEG_WORKER, "--peak"};
    args.insert(args.end(), command.begin(), command.end());
    std::vector<char *> argv;
    for (std::string &a : args) argv.push_back(&a[0]);
    argv.push_back(nullptr);
    int fds[2];
    if (pipe(fds) != 0) return -1;
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, fds[1], STDOUT_FILENO);
    posix_spawn_file_actions_addclose(&actions, fds[0]);
    pid_t pid;
    const int rc = posix_spawn(&pid, argv[0], &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    close(fds[1]);
    if (rc != 0) {
        close(fds[0]);
        return -1;
    }
    char text[64] = {0};
    size_t got = 0;
    ssize_t n;
    while (got < sizeof text - 1 && (n = read(fds[0], text + got, sizeof text - 1 - got)) > 0) got += size_t(n);
    close(fds[0]);
    int status = 0;
    if (waitpid(pid, &status, 0) != pid || !WIFEXITED(status) || WEXITSTATUS(status) != 0) return -1;
    return std::strtol(text, nullptr, 10);
}

std::vector<std::string> JpegtranArgs(const Photo &p) {
    return {"jpegtran", "-copy", "all", "-optimize", "-rotate", "90", "-trim", "-outfile", p.dst, p.src};
}

void BM_InProcess(benchmark::State &state) {
    const Photo &p = ThePhoto();
    if (!p.ok) {
        state.SkipWithError("could not make the test file");
        return;
    }
    for (auto _ : state) {
        if (imfJpegLosslessTransformEx(p.src.c_str(), p.dst.c_str(), IMF_LOSSLESS_TRANSFORM_ROTATE90,
                                       IMF_LOSSLESS_TRIM) != 1)
            state.SkipWithError("transform failed");
    }
}

void BM_Process(benchmark::State &state, bool ours) {
    const Photo &p = ThePhoto();
    if (!p.ok) {
        state.SkipWithError("could not make the test file");
        return;
    }
    const std::vector<std::string> args =
        ours ? std::vector<std::string>{IMGE_JPEG_WORKER, p.src, p.dst} : JpegtranArgs(p);
    long peak = 0;
    for (auto _ : state) {
        const long kib = RunChild(args);
        if (kib < 0) {
            state.SkipWithError(ours ? "worker failed" : "jpegtran failed or not installed");
            return;
        }
        peak = std::max(peak, kib);
    }
    state.counters["peak_MiB"] = double(peak) / 1024.0;
    if (ours) {
        const long theirs = RunChild(JpegtranArgs(p));
        if (theirs > 0) state.counters["peak_vs_jpegtran"] = double(peak) / double(theirs);
    }
}

struct Register {
    Register() {
        benchmark::RegisterBenchmark("jpeg/rotate90-trim/imfJpegLosslessTransformEx", BM_InProcess)
            ->Unit(benchmark::kMillisecond)
            ->UseRealTime();
        benchmark::RegisterBenchmark("jpeg/rotate90-trim/worker-process", BM_Process, true)
            ->Unit(benchmark::kMillisecond)
            ->UseRealTime();
        benchmark::RegisterBenchmark("jpeg/rotate90-trim/jpegtran-process", BM_Process, false)
            ->Unit(benchmark::kMillisecond)
            ->UseRealTime();
        bench::AddRatio("jpeg/rotate90-trim/worker-process/real_time", "jpeg/rotate90-trim/jpegtran-process/real_time",
                        1.1);
        bench::AddRatio("jpeg/rotate90-trim/imfJpegLosslessTransformEx/real_time",
                        "jpeg/rotate90-trim/jpegtran-process/real_time", 1.1);
    }
} reg;

}  // namespace
