// Construction of the selection networks used by the medians.
//
// The network is Batcher's odd-even merge sort over a power of two of wires;
// the wires beyond the real samples hold 255, so the real samples end up in
// the lowest positions in order. The network is run symbolically once per
// call: comparisons against a padding constant are resolved at build time,
// only the operations that reach a wanted output are kept, and registers are
// reused as soon as a value is dead.
#include <cstring>

#include "rank/rank_rows.h"

namespace imge {
namespace {

constexpr int kConst255 = -1;
constexpr int kMaxSsa = NetProgram::kMaxWires + 2 * 600;

struct SsaOp {
    int16_t a, b;
    uint8_t is_max;
};

struct Builder {
    int P = 0;                 // wires
    int wire[NetProgram::kMaxWires];
    int n_inputs = 0;
    int n_ssa = 0;             // inputs first, then op results
    SsaOp ops[kMaxSsa];        // ops[s - n_inputs] defines ssa value s
    bool ok = true;

    int Emit(int a, int b, bool is_max) {
        if (n_ssa >= kMaxSsa) {
            ok = false;
            return a;
        }
        ops[n_ssa - n_inputs] = SsaOp{static_cast<int16_t>(a), static_cast<int16_t>(b), static_cast<uint8_t>(is_max)};
        return n_ssa++;
    }

    void Compare(int i, int j) {  // min to wire i, max to wire j
        const int a = wire[i], b = wire[j];
        if (a == kConst255 || b == kConst255) {
            // min(x, 255) = x and max(x, 255) = 255.
            wire[i] = a == kConst255 ? b : a;
            wire[j] = kConst255;
            return;
        }
        wire[i] = Emit(a, b, false);
        wire[j] = Emit(a, b, true);
    }

    // Odd-even merge sort, leaving out the stages that only sort blocks of
    // `sorted_block` wires (already sorted on entry).
    void Sort(int sorted_block) {
        for (int p = 1; p < P; p += p) {
            if (p < sorted_block) continue;
            for (int k = p; k > 0; k /= 2)
                for (int j = k % p; j + k < P; j += 2 * k)
                    for (int i = 0; i < k && i + j + k < P; ++i)
                        if ((i + j) / (p * 2) == (i + j + k) / (p * 2)) Compare(i + j, i + j + k);
        }
    }
};

int PowerOfTwoAtLeast(int n) {
    int p = 1;
    while (p < n) p *= 2;
    return p;
}

// Keeps what the wanted output wires need and assigns registers.
void Finish(Builder &b, const int *out_wires, int n_out, NetProgram *p) {
    const int total = b.n_ssa;
    static_assert(kMaxSsa < 32768, "ssa ids are 16-bit");
    bool live[kMaxSsa];
    std::memset(live, 0, sizeof live);
    for (int r = 0; r < n_out; ++r)
        if (b.wire[out_wires[r]] >= 0) live[b.wire[out_wires[r]]] = true;
    for (int s = total - 1; s >= b.n_inputs; --s) {
        if (!live[s]) continue;
        live[b.ops[s - b.n_inputs].a] = true;
        live[b.ops[s - b.n_inputs].b] = true;
    }
    // Last reader of every value; outputs live to the end.
    int last[kMaxSsa];
    for (int s = 0; s < total; ++s) last[s] = -1;
    for (int s = b.n_inputs; s < total; ++s) {
        if (!live[s]) continue;
        last[b.ops[s - b.n_inputs].a] = s;
        last[b.ops[s - b.n_inputs].b] = s;
    }
    for (int r = 0; r < n_out; ++r)
        if (b.wire[out_wires[r]] >= 0) last[b.wire[out_wires[r]]] = total;

    int reg[kMaxSsa];
    int free_list[256], n_free = 0, n_regs = 0;
    auto take = [&]() { return n_free ? free_list[--n_free] : n_regs++; };
    for (int s = 0; s < b.n_inputs; ++s) {
        reg[s] = live[s] ? take() : 255;
        p->input_reg[s] = static_cast<uint8_t>(reg[s]);
    }
    p->n_ops = 0;
    for (int s = b.n_inputs; s < total; ++s) {
        if (!live[s]) continue;
        const SsaOp &o = b.ops[s - b.n_inputs];
        const int ra = reg[o.a], rb = reg[o.b];
        if (last[o.a] == s) free_list[n_free++] = ra;
        if (last[o.b] == s) free_list[n_free++] = rb;
        reg[s] = take();
        p->op[p->n_ops++] = NetOp{static_cast<uint8_t>(reg[s]), static_cast<uint8_t>(ra), static_cast<uint8_t>(rb),
                                  o.is_max};
    }
    p->n_outputs = n_out;
    for (int r = 0; r < n_out; ++r) {
        const int w = b.wire[out_wires[r]];
        // A padding constant can only reach an output if there were no real
        // samples; the builders never ask for one.
        p->output_reg[r] = static_cast<uint8_t>(w >= 0 ? reg[w] : 0);
    }
    p->n_regs = n_regs;
}

void Start(Builder &b, int P, int n_inputs, NetProgram *p) {
    b.P = P;
    b.n_inputs = n_inputs;
    b.n_ssa = n_inputs;
    for (int w = 0; w < P; ++w) b.wire[w] = kConst255;
    p->n_inputs = n_inputs;
}

}  // namespace

void BuildColumnSort(int n, NetProgram *p) {
    Builder b;
    Start(b, PowerOfTwoAtLeast(n), n, p);
    int outs[NetProgram::kMaxWires];
    for (int k = 0; k < n; ++k) {
        b.wire[k] = k;
        p->input[k] = NetInput{static_cast<int16_t>(k), 0};
        outs[k] = k;
    }
    b.Sort(1);
    Finish(b, outs, n, p);
}

void BuildBoxSelect(int n, NetProgram *p) {
    const int block = PowerOfTwoAtLeast(n);
    Builder b;
    Start(b, block * block, n * n, p);
    int q = 0;
    for (int j = 0; j < n; ++j)
        for (int r = 0; r < n; ++r, ++q) {
            b.wire[j * block + r] = q;
            p->input[q] = NetInput{static_cast<int16_t>(r), static_cast<int16_t>(j)};
        }
    b.Sort(block);
    const int out = (n * n) >> 1;
    Finish(b, &out, 1, p);
}

void BuildCrossSelect(int n, NetProgram *p) {
    const int half = n >> 1;
    Builder b;
    Start(b, PowerOfTwoAtLeast(2 * n - 1), 2 * n - 1, p);
    int q = 0;
    for (int k = 0; k < n; ++k)
        if (k != half) {
            b.wire[q] = q;
            p->input[q] = NetInput{static_cast<int16_t>(k), static_cast<int16_t>(half)};
            ++q;
        }
    for (int j = 0; j < n; ++j, ++q) {
        b.wire[q] = q;
        p->input[q] = NetInput{static_cast<int16_t>(half), static_cast<int16_t>(j)};
    }
    b.Sort(1);
    const int out = n - 1;
    Finish(b, &out, 1, p);
}

void RunNetScalar(const NetProgram &p, const uint8_t *const *rows, int bpp, std::size_t begin, std::size_t count,
                  uint8_t *const *outs) {
    uint8_t r[256];
    for (std::size_t pos = begin; pos < count; ++pos) {
        for (int q = 0; q < p.n_inputs; ++q)
            if (p.input_reg[q] != 255)
                r[p.input_reg[q]] = rows[p.input[q].row][pos + static_cast<std::size_t>(p.input[q].column) * bpp];
        for (int o = 0; o < p.n_ops; ++o) {
            const NetOp &op = p.op[o];
            const uint8_t a = r[op.a], b = r[op.b];
            r[op.dst] = op.is_max ? (a > b ? a : b) : (a < b ? a : b);
        }
        for (int k = 0; k < p.n_outputs; ++k) outs[k][pos] = r[p.output_reg[k]];
    }
}

}  // namespace imge
