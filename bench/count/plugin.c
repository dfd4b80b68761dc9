/* Plugin for qemu's user emulators: at every second mark of the program (see main.cpp) writes the number of
 * instructions executed since the one before to standard error. The declarations are those of version 1 of the plugin
 * interface that are needed here. */
#include <inttypes.h>
#include <stdbool.h>
#include <stddef.h>
#include <stdio.h>

#define EXPORT __attribute__((visibility("default")))

typedef uint64_t plugin_id;
struct qemu_plugin_tb;
enum { INLINE_ADD_U64 = 0 };

size_t qemu_plugin_tb_n_insns(const struct qemu_plugin_tb* block);
void qemu_plugin_register_vcpu_tb_trans_cb(plugin_id id, void (*translated)(plugin_id, struct qemu_plugin_tb*));
void qemu_plugin_register_vcpu_tb_exec_inline(struct qemu_plugin_tb* block, int operation, void* counter,
                                              uint64_t operand);
void qemu_plugin_register_vcpu_syscall_cb(plugin_id id,
                                          void (*called)(plugin_id, unsigned cpu, int64_t number, uint64_t a1,
                                                         uint64_t a2, uint64_t a3, uint64_t a4, uint64_t a5,
                                                         uint64_t a6, uint64_t a7, uint64_t a8));

EXPORT int qemu_plugin_version = 1;
EXPORT int qemu_plugin_install(plugin_id id, const void* info, int argc, char** argv);

static const uint64_t mark = 0x756c6d61726f2121;
static uint64_t executed;
static uint64_t at_mark;
static bool between;

static void translated(plugin_id id, struct qemu_plugin_tb* block) {
    (void)id;
    qemu_plugin_register_vcpu_tb_exec_inline(block, INLINE_ADD_U64, &executed, qemu_plugin_tb_n_insns(block));
}

static void called(plugin_id id, unsigned cpu, int64_t number, uint64_t a1, uint64_t a2, uint64_t a3, uint64_t a4,
                   uint64_t a5, uint64_t a6, uint64_t a7, uint64_t a8) {
    (void)id, (void)cpu, (void)number, (void)a2, (void)a3, (void)a4, (void)a5, (void)a6, (void)a7, (void)a8;
    if (a1 != mark) return;
    if (between) fprintf(stderr, "instructions %" PRIu64 "\n", executed - at_mark);
    between = !between;
    at_mark = executed;
}

int qemu_plugin_install(plugin_id id, const void* info, int argc, char** argv) {
    (void)info, (void)argc, (void)argv;
    qemu_plugin_register_vcpu_tb_trans_cb(id, translated);
    qemu_plugin_register_vcpu_syscall_cb(id, called);
    return 0;
}
