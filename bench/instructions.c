/* A plug-in of the emulator that counts the instructions of a program and prints their number when it ends.
 * The few declarations of the emulator's interface that it takes, version 1, stand here: Debian ships no header. */
#include <inttypes.h>
#include <stddef.h>
#include <stdint.h>
#include <stdio.h>

typedef uint64_t plugin_id;
struct qemu_plugin_tb;
enum { ADD_U64 = 0 };
void qemu_plugin_register_vcpu_tb_trans_cb(plugin_id id, void (*callback)(plugin_id, struct qemu_plugin_tb*));
void qemu_plugin_register_vcpu_tb_exec_inline(struct qemu_plugin_tb* block, int operation, void* target, uint64_t value);
size_t qemu_plugin_tb_n_insns(const struct qemu_plugin_tb* block);
void qemu_plugin_register_atexit_cb(plugin_id id, void (*callback)(plugin_id, void*), void* data);

__attribute__((visibility("default"))) int qemu_plugin_version = 1;
static uint64_t instructions;

static void count(plugin_id id, struct qemu_plugin_tb* block) {
    (void)id;
    qemu_plugin_register_vcpu_tb_exec_inline(block, ADD_U64, &instructions, qemu_plugin_tb_n_insns(block));
}

static void report(plugin_id id, void* data) {
    (void)id;
    (void)data;
    fprintf(stderr, "instructions: %" PRIu64 "\n", instructions);
}

__attribute__((visibility("default"))) int qemu_plugin_install(plugin_id id, const void* info, int argc, char** argv) {
    (void)info;
    (void)argc;
    (void)argv;
    qemu_plugin_register_vcpu_tb_trans_cb(id, count);
    qemu_plugin_register_atexit_cb(id, report, NULL);
    return 0;
}
