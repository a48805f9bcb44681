// A plug-in of the emulator: prints how many instructions the program's first thread executed from
// its first measured job on (see bench/support/cost.cpp).
//
//     qemu-arm -plugin libinstruction_count.so PROGRAM ...

#include <cinttypes>
#include <cstdio>
#include <cstring>

#include "bench/arm/qemu_plugin.h"

namespace {

// The first thread alone uses them.
bool gCounts;
std::uint64_t gInstructions;

void StartCounting(unsigned vcpu, void * /*unused*/) {
    gCounts = gCounts || vcpu == 0;
}

void CountBlock(unsigned vcpu, void *length) {
    if (vcpu == 0 && gCounts) {
        gInstructions += reinterpret_cast<std::uintptr_t>(length);
    }
}

bool BelongsToMeasuredJob(const qemu_plugin_tb *block) {
    const char *const symbol = qemu_plugin_insn_symbol(qemu_plugin_tb_get_insn(block, 0));
    return symbol != nullptr && std::strstr(symbol, "MeasuredJob") != nullptr;
}

void Translated(qemu_plugin_id_t /*id*/, qemu_plugin_tb *block) {
    if (BelongsToMeasuredJob(block)) {
        qemu_plugin_register_vcpu_tb_exec_cb(block, StartCounting, QEMU_PLUGIN_CB_NO_REGS, nullptr);
    }
    const std::uintptr_t length = qemu_plugin_tb_n_insns(block);
    // NOLINTNEXTLINE(performance-no-int-to-ptr): the emulator hands back a word, and reads nothing
    auto *const data = reinterpret_cast<void *>(length);
    qemu_plugin_register_vcpu_tb_exec_cb(block, CountBlock, QEMU_PLUGIN_CB_NO_REGS, data);
}

void Print(qemu_plugin_id_t /*id*/, void * /*data*/) {
    std::fprintf(stderr, "Collected : %" PRIu64 "\n", gInstructions);
}

}  // namespace

int qemu_plugin_version = 1;

int qemu_plugin_install(qemu_plugin_id_t id, const qemu_info_t * /*info*/, int /*argc*/,
                        char ** /*argv*/) {
    qemu_plugin_register_vcpu_tb_trans_cb(id, Translated);
    qemu_plugin_register_atexit_cb(id, Print, nullptr);
    return 0;
}
