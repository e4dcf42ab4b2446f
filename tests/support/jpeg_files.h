// Test support for the lossless JPEG functions: JPEG files compressed here
// from generated pixels (any size, sampling, restart interval, progressive,
// extra markers), files and folders that clean up after themselves, the
// segments of a JPEG stream, and the command-line oracles (jpegtran,
// exiftool) when they are installed.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace testing_support {

using Bytes = std::vector<uint8_t>;

enum class Sampling { k444, k422, k420, k440, k411, kGrey, kCmyk };

struct JpegRecipe {
    int width = 64, height = 48;
    Sampling sampling = Sampling::k420;
    int quality = 85;
    bool progressive = false;
    int restart_rows = 0;            // restart marker every n MCU rows (0: none)
    bool jfif = true;                // the compressor's own JFIF APP0
    bool optimize = false;           // optimised Huffman tables
    std::vector<std::pair<int, Bytes>> markers;  // (marker code, data) after the header
    unsigned seed = 1;
};

// A JPEG stream of photo-like pixels (gradients, edges, noise).
Bytes MakeJpeg(const JpegRecipe &recipe);

// What the header says.
struct JpegInfo {
    int width = 0, height = 0, components = 0;
    int h_samp[4] = {0, 0, 0, 0}, v_samp[4] = {0, 0, 0, 0};
    bool ok = false;
};
JpegInfo ReadJpegInfo(const Bytes &jpeg);


// One marker segment: code (0xE1 for APP1, ...) and its payload.
struct Segment {
    int marker;
    size_t offset;  // of the payload in the stream
    Bytes data;
};
// The segments before the first SOS.
std::vector<Segment> Segments(const Bytes &jpeg);
// Hostile files: a 64 x 48 file whose frame header declares side x side
// pixels and whose scan data ends after 64 bytes; a progressive file whose
// last scan comes `times` more times.
Bytes JpegDeclaring(int side);
Bytes JpegWithScansRepeated(int times);

Bytes ReadFileBytes(const std::string &path);
void WriteFileBytes(const std::string &path, const Bytes &bytes);
bool FileExists(const std::string &path);

// A fresh folder under $TMPDIR or /tmp, removed with its contents.
class TempDir {
  public:
    TempDir();
    ~TempDir();
    TempDir(const TempDir &) = delete;
    TempDir &operator=(const TempDir &) = delete;
    const std::string &path() const { return path_; }
    std::string File(const std::string &name) const { return path_ + "/" + name; }

  private:
    std::string path_;
};

// True when `program` is on the PATH.
bool HaveProgram(const std::string &program);
// Runs jpegtran with `options` ("-rotate 90 -trim") on `in`, writing `out`;
// false when it failed.
bool RunJpegtran(const std::string &options, const std::string &in, const std::string &out);
// Runs a shell command and returns its standard output.
std::string RunOutput(const std::string &command);

}  // namespace testing_support
