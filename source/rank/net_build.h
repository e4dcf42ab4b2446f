// Construction of the selection networks used by the medians, usable at
// compile time (the vector paths run fixed networks unrolled into registers)
// and at run time (the plain path interprets them).
//
// The network is Batcher's odd-even merge sort over a power of two of wires;
// the wires beyond the real samples hold 255, so the real samples end up in
// the lowest positions in order. The network is run symbolically: comparisons
// against a padding constant are resolved while building, only the
// operations that reach a wanted output are kept, and registers are reused as
// soon as a value is dead.
#pragma once

#include "rank/rank_rows.h"

namespace imge {
namespace rank {
namespace net {

constexpr int kConst255 = -1;
constexpr int kMaxSsa = NetProgram::kMaxWires + 2 * 560;

struct SsaOp {
    int a = 0, b = 0;
    bool is_max = false;
};

struct Builder {
    int P = 0;  // wires
    int wire[NetProgram::kMaxWires] = {};
    int n_inputs = 0;
    int n_ssa = 0;  // inputs first, then op results
    SsaOp ops[kMaxSsa] = {};

    constexpr int Emit(int a, int b, bool is_max) {
        ops[n_ssa - n_inputs] = SsaOp{a, b, is_max};
        return n_ssa++;
    }
    constexpr void Compare(int i, int j) {  // min to wire i, max to wire j
        const int a = wire[i], b = wire[j];
        if (a == kConst255 || b == kConst255) {  // min(x, 255) = x, max(x, 255) = 255
            wire[i] = a == kConst255 ? b : a;
            wire[j] = kConst255;
            return;
        }
        wire[i] = Emit(a, b, false);
        wire[j] = Emit(a, b, true);
    }
    // Odd-even merge sort, leaving out the stages that only sort blocks of
    // `sorted_block` wires (already sorted on entry).
    constexpr void Sort(int sorted_block) {
        for (int p = 1; p < P; p += p) {
            if (p < sorted_block) continue;
            for (int k = p; k > 0; k /= 2)
                for (int j = k % p; j + k < P; j += 2 * k)
                    for (int i = 0; i < k && i + j + k < P; ++i)
                        if ((i + j) / (p * 2) == (i + j + k) / (p * 2)) Compare(i + j, i + j + k);
        }
    }
};

constexpr int PowerOfTwoAtLeast(int n) {
    int p = 1;
    while (p < n) p *= 2;
    return p;
}

constexpr void Start(Builder &b, int P, int n_inputs, NetProgram &p) {
    b.P = P;
    b.n_inputs = n_inputs;
    b.n_ssa = n_inputs;
    for (int w = 0; w < P; ++w) b.wire[w] = kConst255;
    p.n_inputs = n_inputs;
}

// Keeps what the wanted output wires need and assigns registers.
constexpr void Finish(const Builder &b, const int *out_wires, int n_out, NetProgram &p) {
    const int total = b.n_ssa;
    bool live[kMaxSsa] = {};
    for (int r = 0; r < n_out; ++r)
        if (b.wire[out_wires[r]] >= 0) live[b.wire[out_wires[r]]] = true;
    for (int s = total - 1; s >= b.n_inputs; --s) {
        if (!live[s]) continue;
        live[b.ops[s - b.n_inputs].a] = true;
        live[b.ops[s - b.n_inputs].b] = true;
    }
    int last[kMaxSsa] = {};  // last reader of every value; outputs live to the end
    for (int s = 0; s < total; ++s) last[s] = -1;
    for (int s = b.n_inputs; s < total; ++s) {
        if (!live[s]) continue;
        last[b.ops[s - b.n_inputs].a] = s;
        last[b.ops[s - b.n_inputs].b] = s;
    }
    for (int r = 0; r < n_out; ++r)
        if (b.wire[out_wires[r]] >= 0) last[b.wire[out_wires[r]]] = total;
    int reg[kMaxSsa] = {};
    int free_list[256] = {};
    int n_free = 0, n_regs = 0;
    for (int s = 0; s < b.n_inputs; ++s) {
        reg[s] = live[s] ? (n_free ? free_list[--n_free] : n_regs++) : 255;
        p.input_reg[s] = static_cast<uint8_t>(reg[s]);
    }
    p.n_ops = 0;
    for (int s = b.n_inputs; s < total; ++s) {
        if (!live[s]) continue;
        const SsaOp &o = b.ops[s - b.n_inputs];
        const int ra = reg[o.a], rb = reg[o.b];
        if (last[o.a] == s) free_list[n_free++] = ra;
        if (last[o.b] == s) free_list[n_free++] = rb;
        reg[s] = n_free ? free_list[--n_free] : n_regs++;
        p.op[p.n_ops++] = NetOp{static_cast<uint8_t>(reg[s]), static_cast<uint8_t>(ra), static_cast<uint8_t>(rb),
                                static_cast<uint8_t>(o.is_max)};
    }
    p.n_outputs = n_out;
    for (int r = 0; r < n_out; ++r) {
        // A padding constant reaches an output only when there are fewer
        // samples than outputs; the builders below never ask for that.
        const int w = b.wire[out_wires[r]];
        p.output_reg[r] = static_cast<uint8_t>(w >= 0 ? reg[w] : 0);
    }
    p.n_regs = n_regs;
}

// Sorts n samples rows[0..n-1][pos] ascending; output r is the (r+1)-th smallest.
constexpr NetProgram ColumnSort(int n) {
    NetProgram p{};
    Builder b{};
    Start(b, PowerOfTwoAtLeast(n), n, p);
    int outs[NetProgram::kMaxWires] = {};
    for (int k = 0; k < n; ++k) {
        b.wire[k] = k;
        p.input[k] = NetInput{static_cast<int16_t>(k), 0};
        outs[k] = k;
    }
    b.Sort(1);
    Finish(b, outs, n, p);
    return p;
}

// Element (n * n) >> 1 of an n x n square given its n sorted columns: input
// (r, j) is rows[r][pos + j * bpp], rows[r] holding the (r+1)-th smallest of
// each column. Each column fills a block of wires already in order, so the
// stages sorting within those blocks are left out.
constexpr NetProgram BoxSelect(int n) {
    NetProgram p{};
    Builder b{};
    const int block = PowerOfTwoAtLeast(n);
    Start(b, block * block, n * n, p);
    int q = 0;
    for (int j = 0; j < n; ++j)
        for (int r = 0; r < n; ++r, ++q) {
            b.wire[j * block + r] = q;
            p.input[q] = NetInput{static_cast<int16_t>(r), static_cast<int16_t>(j)};
        }
    b.Sort(block);
    const int out = (n * n) >> 1;
    Finish(b, &out, 1, p);
    return p;
}

// Element n - 1 of the 2n - 1 cross samples: the centre column of every slot
// but slot n/2, then every column of slot n/2.
constexpr NetProgram CrossSelect(int n) {
    NetProgram p{};
    Builder b{};
    const int half = n >> 1;
    Start(b, PowerOfTwoAtLeast(2 * n - 1), 2 * n - 1, p);
    int q = 0;
    for (int k = 0; k < n; ++k)
        if (k != half) {
            b.wire[q] = q;
            p.input[q] = NetInput{static_cast<int16_t>(k), static_cast<int16_t>(half)};
            ++q;
        }
    for (int j = 0; j < n; ++j, ++q) {
        b.wire[q] = q;
        p.input[q] = NetInput{static_cast<int16_t>(half), static_cast<int16_t>(j)};
    }
    b.Sort(1);
    const int out = n - 1;
    Finish(b, &out, 1, p);
    return p;
}

}  // namespace net
}  // namespace rank
}  // namespace imge
