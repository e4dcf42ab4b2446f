#include "support/jpeg_files.h"

#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csetjmp>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <random>

#include <jpeglib.h>

namespace testing_support {

namespace {

struct Failure {
    jpeg_error_mgr pub;
    std::jmp_buf jump;
};

[[noreturn]] void Jump(j_common_ptr c) { std::longjmp(reinterpret_cast<Failure *>(c->err)->jump, 1); }
void Quiet(j_common_ptr, int) {}

// Photo-like pixels: a smooth gradient, a few hard edges and noise.
Bytes Pixels(const JpegRecipe &s, int components) {
    std::mt19937 rng(s.seed);
    std::uniform_int_distribution<int> noise(-12, 12);
    Bytes px(size_t(s.width) * size_t(s.height) * size_t(components));
    for (int y = 0; y < s.height; ++y)
        for (int x = 0; x < s.width; ++x)
            for (int c = 0; c < components; ++c) {
                int v = (x * (60 + 40 * c)) / (s.width + 1) + (y * (150 - 30 * c)) / (s.height + 1);
                if ((x / 11 + y / 7 + c) % 5 == 0) v += 60;
                if (x * 3 < s.width && y * 2 > s.height) v = 200 - v / 3;
                v += noise(rng);
                px[(size_t(y) * size_t(s.width) + size_t(x)) * size_t(components) + size_t(c)] =
                    uint8_t(v < 0 ? 0 : v > 255 ? 255 : v);
            }
    return px;
}

// The compressor part that longjmps; no objects with destructors here.
bool Compress(const JpegRecipe &s, const Bytes &px, int components, unsigned char **out, unsigned long *size) {
    jpeg_compress_struct c;
    Failure f;
    std::memset(&c, 0, sizeof c);
    c.err = jpeg_std_error(&f.pub);
    f.pub.error_exit = Jump;
    if (setjmp(f.jump)) {
        jpeg_destroy_compress(&c);
        return false;
    }
    jpeg_create_compress(&c);
    jpeg_mem_dest(&c, out, size);
    c.image_width = JDIMENSION(s.width);
    c.image_height = JDIMENSION(s.height);
    c.input_components = components;
    c.in_color_space = components == 1 ? JCS_GRAYSCALE : components == 4 ? JCS_CMYK : JCS_RGB;
    jpeg_set_defaults(&c);
    jpeg_set_quality(&c, s.quality, TRUE);
    c.write_JFIF_header = s.jfif ? TRUE : FALSE;
    c.optimize_coding = s.optimize ? TRUE : FALSE;
    if (components == 3) {
        const int h = s.sampling == Sampling::k444 || s.sampling == Sampling::k440 ? 1
                      : s.sampling == Sampling::k411                               ? 4
                                                                                   : 2;
        const int v = s.sampling == Sampling::k420 || s.sampling == Sampling::k440 ? 2 : 1;
        c.comp_info[0].h_samp_factor = h;
        c.comp_info[0].v_samp_factor = v;
    }
    if (s.restart_rows > 0) c.restart_in_rows = s.restart_rows;
    if (s.progressive) jpeg_simple_progression(&c);
    jpeg_start_compress(&c, TRUE);
    for (const auto &m : s.markers)
        jpeg_write_marker(&c, m.first, m.second.data(), unsigned(m.second.size()));
    const size_t stride = size_t(s.width) * size_t(components);
    while (c.next_scanline < c.image_height) {
        JSAMPROW row = const_cast<JSAMPROW>(px.data() + c.next_scanline * stride);
        jpeg_write_scanlines(&c, &row, 1);
    }
    jpeg_finish_compress(&c);
    jpeg_destroy_compress(&c);
    return true;
}

bool ReadHeader(const Bytes &jpeg, JpegInfo *info) {
    jpeg_decompress_struct d;
    Failure f;
    std::memset(&d, 0, sizeof d);
    d.err = jpeg_std_error(&f.pub);
    f.pub.error_exit = Jump;
    f.pub.emit_message = Quiet;
    if (setjmp(f.jump)) {
        jpeg_destroy_decompress(&d);
        return false;
    }
    jpeg_create_decompress(&d);
    jpeg_mem_src(&d, jpeg.data(), static_cast<unsigned long>(jpeg.size()));
    jpeg_read_header(&d, TRUE);
    info->width = int(d.image_width);
    info->height = int(d.image_height);
    info->components = d.num_components;
    for (int i = 0; i < d.num_components && i < 4; ++i) {
        info->h_samp[i] = d.comp_info[i].h_samp_factor;
        info->v_samp[i] = d.comp_info[i].v_samp_factor;
    }
    jpeg_destroy_decompress(&d);
    return true;
}

}  // namespace

Bytes MakeJpeg(const JpegRecipe &s) {
    const int components = s.sampling == Sampling::kGrey ? 1 : s.sampling == Sampling::kCmyk ? 4 : 3;
    const Bytes px = Pixels(s, components);
    unsigned char *out = nullptr;
    unsigned long size = 0;
    Bytes result;
    if (Compress(s, px, components, &out, &size)) result.assign(out, out + size);
    std::free(out);
    return result;
}

JpegInfo ReadJpegInfo(const Bytes &jpeg) {
    JpegInfo info;
    info.ok = ReadHeader(jpeg, &info);
    return info;
}

std::vector<Segment> Segments(const Bytes &j) {
    std::vector<Segment> out;
    size_t at = 2;
    while (at + 4 <= j.size() && j[at] == 0xFF) {
        const int marker = j[at + 1];
        if (marker == 0xDA) break;
        const size_t len = size_t(j[at + 2]) << 8 | j[at + 3];
        if (len < 2 || at + 2 + len > j.size()) break;
        out.push_back(Segment{marker, at + 4, Bytes(j.begin() + long(at + 4), j.begin() + long(at + 2 + len))});
        at += 2 + len;
    }
    return out;
}

Bytes JpegDeclaring(int side) {
    Bytes j = MakeJpeg(JpegRecipe{});
    for (const Segment &seg : Segments(j))
        if (seg.marker == 0xC0)
            for (int k : {1, 3}) {
                j[seg.offset + size_t(k)] = uint8_t(side >> 8);
                j[seg.offset + size_t(k) + 1] = uint8_t(side);
            }
    size_t sos = 2;
    while (!(j[sos] == 0xFF && j[sos + 1] == 0xDA)) ++sos;
    j.resize(sos + 2 + size_t(j[sos + 2] << 8 | j[sos + 3]) + 64);
    j.insert(j.end(), {0xFF, 0xD9});
    return j;
}

Bytes JpegWithScansRepeated(int times) {
    JpegRecipe r;
    r.progressive = true;
    Bytes j = MakeJpeg(r);
    size_t last = j.size() - 2;
    while (!(j[last] == 0xFF && j[last + 1] == 0xDA)) --last;
    const Bytes scan(j.begin() + long(last), j.end() - 2);
    for (int k = 0; k < times; ++k) j.insert(j.end() - 2, scan.begin(), scan.end());
    return j;
}

Bytes ReadFileBytes(const std::string &path) {
    std::ifstream f(path, std::ios::binary);
    return Bytes((std::istreambuf_iterator<char>(f)), std::istreambuf_iterator<char>());
}

void WriteFileBytes(const std::string &path, const Bytes &bytes) {
    std::ofstream f(path, std::ios::binary | std::ios::trunc);
    f.write(reinterpret_cast<const char *>(bytes.data()), std::streamsize(bytes.size()));
}

bool FileExists(const std::string &path) {
    struct stat st;
    return lstat(path.c_str(), &st) == 0;
}

TempDir::TempDir() {
    const char *t = std::getenv("TMPDIR");
    std::string pattern = std::string(t && *t ? t : "/tmp") + "/imge-jpeg-XXXXXX";
    std::vector<char> buf(pattern.begin(), pattern.end());
    buf.push_back(0);
    if (mkdtemp(buf.data()) != nullptr) path_ = buf.data();
}

namespace {
void RemoveTree(const std::string &path) {
    struct stat st;
    if (lstat(path.c_str(), &st) != 0) return;
    if (S_ISDIR(st.st_mode)) {
        chmod(path.c_str(), 0700);
        if (DIR *d = opendir(path.c_str())) {
            while (dirent *e = readdir(d)) {
                const std::string n = e->d_name;
                if (n != "." && n != "..") RemoveTree(path + "/" + n);
            }
            closedir(d);
        }
        rmdir(path.c_str());
    } else {
        unlink(path.c_str());
    }
}
}  // namespace

TempDir::~TempDir() {
    if (!path_.empty()) RemoveTree(path_);
}

bool HaveProgram(const std::string &program) {
    return std::system(("command -v " + program + " >/dev/null 2>&1").c_str()) == 0;
}

bool RunJpegtran(const std::string &options, const std::string &in, const std::string &out) {
    const std::string cmd = "jpegtran " + options + " -outfile '" + out + "' '" + in + "' 2>/dev/null";
    return std::system(cmd.c_str()) == 0;
}

std::string RunOutput(const std::string &command) {
    std::string out;
    if (FILE *p = popen(command.c_str(), "r")) {
        char buf[4096];
        size_t n;
        while ((n = std::fread(buf, 1, sizeof buf, p)) > 0) out.append(buf, n);
        pclose(p);
    }
    return out;
}

}  // namespace testing_support
