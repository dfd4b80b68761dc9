/* Plugin for qemu's user emulators: between two marks of the program (see driver.cpp) takes every instruction's address
 * and every access's address, size and direction, in order, into one hash. The declarations are those of version 1 of
 * the plugin interface that are needed here.
 *
 *   out=FILE     for each section between marks, a line with its hash and its number of instructions
 *   log=FOLDER   also everything that goes into the hash of section N, in the file N */
#include <inttypes.h>
#include <stdbool.h>
#include <stddef.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#define EXPORT __attribute__((visibility("default")))

typedef uint64_t plugin_id;
struct qemu_plugin_tb;
struct qemu_plugin_insn;
enum { NO_REGISTERS = 0, READS_AND_WRITES = 3 };

size_t qemu_plugin_tb_n_insns(const struct qemu_plugin_tb* block);
struct qemu_plugin_insn* qemu_plugin_tb_get_insn(const struct qemu_plugin_tb* block, size_t index);
uint64_t qemu_plugin_insn_vaddr(const struct qemu_plugin_insn* instruction);
unsigned qemu_plugin_mem_size_shift(uint32_t access);
bool qemu_plugin_mem_is_store(uint32_t access);
void qemu_plugin_register_vcpu_tb_trans_cb(plugin_id id, void (*translated)(plugin_id, struct qemu_plugin_tb*));
void qemu_plugin_register_vcpu_insn_exec_cb(struct qemu_plugin_insn* instruction, void (*executed)(unsigned, void*),
                                            int flags, void* user);
void qemu_plugin_register_vcpu_mem_cb(struct qemu_plugin_insn* instruction,
                                      void (*accessed)(unsigned, uint32_t, uint64_t, void*), int flags, int which,
                                      void* user);
void qemu_plugin_register_vcpu_syscall_cb(plugin_id id,
                                          void (*called)(plugin_id, unsigned cpu, int64_t number, uint64_t a1,
                                                         uint64_t a2, uint64_t a3, uint64_t a4, uint64_t a5,
                                                         uint64_t a6, uint64_t a7, uint64_t a8));

EXPORT int qemu_plugin_version = 1;
EXPORT int qemu_plugin_install(plugin_id id, const void* info, int argc, char** argv);

static const uint64_t mark = 0x756c6d61726f2121;
static FILE* out;
static FILE* log_file;
static const char* log_folder;
static bool between;
static unsigned section;
static uint64_t hash, instructions;

/* What is 0 for an instruction, 1 + 2 * size for a load, 2 + 2 * size for a store. */
static void take(uint64_t address, uint64_t what) {
    if (!between) return;
    hash = (hash ^ address) * 0x9e3779b97f4a7c15;
    hash = (hash ^ hash >> 29 ^ what) * 0xbf58476d1ce4e5b9;
    hash ^= hash >> 32;
    instructions += what == 0;
    if (log_file != NULL) fwrite((uint64_t[2]){address, what}, 16, 1, log_file);
}

static void executed(unsigned cpu, void* address) {
    (void)cpu;
    take((uint64_t)(uintptr_t)address, 0);
}

static void accessed(unsigned cpu, uint32_t access, uint64_t address, void* user) {
    (void)cpu, (void)user;
    take(address, (qemu_plugin_mem_is_store(access) ? 2 : 1) + (2u << qemu_plugin_mem_size_shift(access)));
}

static void translated(plugin_id id, struct qemu_plugin_tb* block) {
    (void)id;
    for (size_t i = 0; i < qemu_plugin_tb_n_insns(block); ++i) {
        struct qemu_plugin_insn* instruction = qemu_plugin_tb_get_insn(block, i);
        qemu_plugin_register_vcpu_insn_exec_cb(instruction, executed, NO_REGISTERS,
                                               (void*)(uintptr_t)qemu_plugin_insn_vaddr(instruction));
        qemu_plugin_register_vcpu_mem_cb(instruction, accessed, NO_REGISTERS, READS_AND_WRITES, NULL);
    }
}

static void open_log(void) {
    char name[4096];
    snprintf(name, sizeof name, "%s/%u", log_folder, section);
    log_file = fopen(name, "wb");
    if (log_file == NULL) abort();
}

static void called(plugin_id id, unsigned cpu, int64_t number, uint64_t a1, uint64_t a2, uint64_t a3, uint64_t a4,
                   uint64_t a5, uint64_t a6, uint64_t a7, uint64_t a8) {
    (void)id, (void)cpu, (void)number, (void)a2, (void)a3, (void)a4, (void)a5, (void)a6, (void)a7, (void)a8;
    if (a1 != mark) return;
    between = !between;
    if (between) {
        hash = instructions = 0;
        if (log_folder != NULL) open_log();
    } else {
        fprintf(out, "%016" PRIx64 " %" PRIu64 "\n", hash, instructions);
        fflush(out);
        if (log_file != NULL) fclose(log_file);
        ++section;
    }
}

int qemu_plugin_install(plugin_id id, const void* info, int argc, char** argv) {
    (void)info;
    for (int i = 0; i < argc; ++i) {
        if (strncmp(argv[i], "out=", 4) == 0) out = fopen(argv[i] + 4, "w");
        if (strncmp(argv[i], "log=", 4) == 0) log_folder = argv[i] + 4;
    }
    qemu_plugin_register_vcpu_tb_trans_cb(id, translated);
    qemu_plugin_register_vcpu_syscall_cb(id, called);
    return out != NULL ? 0 : 1;
}
