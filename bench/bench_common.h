// Shared pieces of the benchmarks: the test image, and the ratio table that
// is printed after the run ("ours / peer" for each registered pair).
#pragma once

#include <functional>
#include <string>

#include "libimg.h"

namespace bench {

constexpr int kWidth = 4000;
constexpr int kHeight = 3000;

// A deterministic photo-like image (smooth gradients, texture, edges, noise)
// of the given type, allocated with imfAllock; release with imfFree.
IMF_BITMAP MakePhoto(int width, int height, unsigned type);

// After the run, prints time(ours) / time(peer) with the target ratio.
// Names are full benchmark names as registered.
void AddRatio(const std::string &ours, const std::string &peer, double target);

// ---- Side by side with a peer, warm and cold ---------------------------------
// How the blocks an iteration frees are treated, the same for both sides
// (our bitmaps and OpenCV's matrices both come from malloc):
//   warm: freed blocks stay in the process's heap and the next iteration gets
//         the same pages back, already mapped, as in a long-running
//         application (no mapping of large blocks of their own, no trimming);
//   cold: every large block is mapped afresh and unmapped when freed (glibc's
//         ordinary behaviour for images), so every iteration pays the page
//         faults of its result. The base allocator's huge-page advice is ours
//         and is kept: it is what an application using the library gets.
enum class Pages { kWarm, kCold };
void UsePages(Pages pages);

// One call of one side: computes its result from the benchmark photo into
// a newly made bitmap or matrix and releases it.
using Call = std::function<void()>;

// Registers "peer/<row>/warm/ours", ".../warm/<peer>", then the same for
// cold, each timing `ours` or `peer` under its page mode (one untimed call
// first), with the ratio ours / peer checked against `target` for both.
// These rows run after all others (the page modes stay set). Each reports
// the fastest single call in the thread's processor time.
void AddPeerRow(const std::string &row, Call ours, const std::string &peer_name, Call peer, double target);

// The read-only 4000 x 3000 RGB photo the peer rows work on.
const IMF_BITMAP &PeerPhoto();

}  // namespace bench
