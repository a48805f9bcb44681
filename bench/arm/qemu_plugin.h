#pragma once

// The few calls of QEMU's plug-in interface, version 1, that count instructions. Debian has the
// emulator, which gives them to the plug-ins that it loads, and no header for them.

#include <cstddef>
#include <cstdint>

struct qemu_info_t;
struct qemu_plugin_tb;
struct qemu_plugin_insn;

using qemu_plugin_id_t = std::uint64_t;

enum qemu_plugin_cb_flags { QEMU_PLUGIN_CB_NO_REGS };

extern "C" {
// From the emulator. A "tb" is a translated block of instructions, which run one after the other.

std::size_t qemu_plugin_tb_n_insns(const qemu_plugin_tb *tb);
qemu_plugin_insn *qemu_plugin_tb_get_insn(const qemu_plugin_tb *tb, std::size_t index);
const char *qemu_plugin_insn_symbol(const qemu_plugin_insn *instruction);  // may be null
void qemu_plugin_register_vcpu_tb_trans_cb(qemu_plugin_id_t id,
                                           void (*translated)(qemu_plugin_id_t id,
                                                              qemu_plugin_tb *tb));
void qemu_plugin_register_vcpu_tb_exec_cb(qemu_plugin_tb *tb,
                                          void (*executed)(unsigned vcpu, void *data),
                                          qemu_plugin_cb_flags flags, void *data);
void qemu_plugin_register_atexit_cb(qemu_plugin_id_t id,
                                    void (*ended)(qemu_plugin_id_t id, void *data), void *data);

// To the emulator, which finds them by name.

[[gnu::visibility("default")]] extern int qemu_plugin_version;
[[gnu::visibility("default")]] int qemu_plugin_install(qemu_plugin_id_t id, const qemu_info_t *info,
                                                       int argc, char **argv);
}
