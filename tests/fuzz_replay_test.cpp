// The fuzz harnesses as unit tests: every committed seed and a batch of
// random inputs through each harness, on every vector target this machine
// runs (each input's last byte also chooses the scalar path or not). The
// pixel, entry-frame and drawing harnesses compare every operation with its
// plain reference on the bitmaps they build (all types, areas, packs,
// destinations, damaged records), so this is the suite's broad comparison
// of the fast paths against the references; the other test files hold the
// worked examples, the decisions and the refusals.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <dirent.h>
#include <fstream>
#include <iterator>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include <hwy/tests/hwy_gtest.h>

#include "fuzz_support.h"

extern "C" {
int imge_replay_pixel_ops_fuzzer(const uint8_t *data, size_t size);
int imge_replay_entry_frame_fuzzer(const uint8_t *data, size_t size);
int imge_replay_draw_fuzzer(const uint8_t *data, size_t size);
int imge_replay_exif_fuzzer(const uint8_t *data, size_t size);
int imge_replay_jpeg_pipeline_fuzzer(const uint8_t *data, size_t size);
int imge_replay_load_fuzzer(const uint8_t *data, size_t size);
}

namespace {

using Harness = int (*)(const uint8_t *, size_t);

struct Case {
    std::string name;
    std::vector<uint8_t> bytes;
};

std::vector<Case> Seeds(const std::string &folder) {
    std::vector<Case> cases;
    const std::string dir = std::string(IMGE_FUZZ_CORPUS) + "/" + folder;
    DIR *d = opendir(dir.c_str());
    if (!d) return cases;
    while (const dirent *e = readdir(d)) {
        if (e->d_name[0] == '.') continue;
        std::ifstream f(dir + "/" + e->d_name, std::ios::binary);
        cases.push_back({e->d_name, std::vector<uint8_t>(std::istreambuf_iterator<char>(f), {})});
    }
    closedir(d);
    return cases;
}

// Random inputs of 0 .. 600 bytes: enough for any harness's choices plus
// the bytes its bitmaps are filled from.
std::vector<Case> RandomInputs(unsigned seed, int count) {
    std::mt19937 rng(seed);
    std::vector<Case> cases;
    for (int i = 0; i < count; ++i) {
        std::vector<uint8_t> bytes(std::uniform_int_distribution<int>(0, 600)(rng));
        for (auto &b : bytes) b = static_cast<uint8_t>(rng());
        cases.push_back({"random " + std::to_string(i), std::move(bytes)});
    }
    return cases;
}

// Runs every case; a finding is reported with the case's name and the
// harness's message, and the run goes on with the next case.
void Replay(Harness harness, const std::vector<Case> &cases) {
    fuzz::Handler() = [](const std::string &message) { throw std::runtime_error(message); };
    int findings = 0;
    for (const Case &c : cases) {
        try {
            harness(c.bytes.data(), c.bytes.size());
        } catch (const std::runtime_error &e) {
            ADD_FAILURE() << c.name << ": " << e.what();
            if (++findings == 5) break;
        }
    }
    fuzz::Handler() = nullptr;
}

std::vector<Case> SeedsAndRandom(const std::string &folder, unsigned seed, int count) {
    std::vector<Case> cases = Seeds(folder);
    EXPECT_FALSE(cases.empty()) << "no seeds in " << folder;
    const std::vector<Case> more = RandomInputs(seed, count);
    cases.insert(cases.end(), more.begin(), more.end());
    return cases;
}

// Every operation of a harness in turn (its branch and operation pinned),
// each with `count` random inputs.
void EveryOperation(Harness harness, int branch, int ops, int count, unsigned seed) {
    for (int op = 0; op < ops; ++op) {
        SCOPED_TRACE("operation " + std::to_string(op));
        fuzz::Steer() = fuzz::Steering{branch, op};
        Replay(harness, RandomInputs(seed + static_cast<unsigned>(op), count));
        fuzz::Steer() = fuzz::Steering{};
        if (::testing::Test::HasFailure()) return;
    }
}

// The pixel code on every target this machine can run, the plain one
// included.
class FuzzReplayTargets : public hwy::TestWithParamTarget {};
HWY_TARGET_INSTANTIATE_TEST_SUITE_P(FuzzReplayTargets);

TEST_P(FuzzReplayTargets, PixelOperationsAgainstTheirReferences) {
    Replay(imge_replay_pixel_ops_fuzzer, SeedsAndRandom("pixel_ops_fuzzer", 1, 1000));
    EveryOperation(imge_replay_pixel_ops_fuzzer, 3, 46, 80, 100);
}

TEST_P(FuzzReplayTargets, PublicEntryPointsAgainstTheirReferences) {
    Replay(imge_replay_entry_frame_fuzzer, SeedsAndRandom("entry_frame_fuzzer", 2, 600));
    EveryOperation(imge_replay_entry_frame_fuzzer, 0, 3, 300, 200);  // HLS, sepia, tinted sepia
    EveryOperation(imge_replay_entry_frame_fuzzer, 2, 34, 40, 300);
}

TEST(FuzzReplay, LoadingDamagedFiles) { Replay(imge_replay_load_fuzzer, RandomInputs(5, 400)); }

TEST(FuzzReplay, DrawingAgainstItsReference) {
    Replay(imge_replay_draw_fuzzer, SeedsAndRandom("draw_fuzzer", 3, 600));
    // Points, lines, polylines, rectangles, circles, polygons.
    for (int shape = 0; shape < 6; ++shape) {
        SCOPED_TRACE("shape " + std::to_string(shape));
        fuzz::Steer() = fuzz::Steering{-1, shape};
        Replay(imge_replay_draw_fuzzer, RandomInputs(400 + static_cast<unsigned>(shape), 1500));
        fuzz::Steer() = fuzz::Steering{};
    }
}

TEST(FuzzReplay, ExifBlocksAndJpegFiles) {
    Replay(imge_replay_exif_fuzzer, SeedsAndRandom("exif_fuzzer", 4, 2000));
    Replay(imge_replay_jpeg_pipeline_fuzzer, SeedsAndRandom("jpeg_pipeline", 5, 50));
}

}  // namespace
