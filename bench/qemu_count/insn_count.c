/* A plugin for qemu-user 7.2 that counts executed guest instructions and writes the total to a file at the
 * end.
 *
 *   qemu-aarch64 -plugin libinsn_count.so,out=FILE program ...
 *
 * Distributions ship qemu without the plugin header; these declarations are the part of its interface
 * (version 1) that is needed here. Each translated block adds its number of instructions to one counter when
 * it is entered: exact for a program with one thread that takes no signals.
 */
#include <inttypes.h>
#include <stddef.h>
#include <stdint.h>
#include <stdio.h>
#include <string.h>

#define EXPORT __attribute__((visibility("default")))

typedef uint64_t qemu_plugin_id_t;
struct qemu_plugin_tb;
typedef struct qemu_info_t qemu_info_t;
enum qemu_plugin_op { QEMU_PLUGIN_INLINE_ADD_U64 };

void qemu_plugin_register_vcpu_tb_trans_cb(qemu_plugin_id_t id,
                                           void (*callback)(qemu_plugin_id_t id, struct qemu_plugin_tb* tb));
void qemu_plugin_register_vcpu_tb_exec_inline(struct qemu_plugin_tb* tb, enum qemu_plugin_op op,
                                              void* counter, uint64_t value);
size_t qemu_plugin_tb_n_insns(const struct qemu_plugin_tb* tb);
void qemu_plugin_register_atexit_cb(qemu_plugin_id_t id, void (*callback)(qemu_plugin_id_t id, void* data),
                                    void* data);

EXPORT int qemu_plugin_version = 1;

static uint64_t executed;
static char path[4096];

static void translated(qemu_plugin_id_t id, struct qemu_plugin_tb* tb) {
    (void)id;
    qemu_plugin_register_vcpu_tb_exec_inline(tb, QEMU_PLUGIN_INLINE_ADD_U64, &executed,
                                             qemu_plugin_tb_n_insns(tb));
}

static void finished(qemu_plugin_id_t id, void* data) {
    (void)id;
    (void)data;
    FILE* file = fopen(path, "w");
    if (file == NULL || fprintf(file, "%" PRIu64 "\n", executed) < 0 || fclose(file) != 0) {
        perror(path);
    }
}

EXPORT int qemu_plugin_install(qemu_plugin_id_t id, const qemu_info_t* info, int argc, char** argv);
EXPORT int qemu_plugin_install(qemu_plugin_id_t id, const qemu_info_t* info, int argc, char** argv) {
    (void)info;
    for (int i = 0; i < argc; ++i) {
        if (strncmp(argv[i], "out=", 4) == 0 && strlen(argv[i]) < sizeof(path)) {
            strcpy(path, argv[i] + 4);
        }
    }
    if (path[0] == '\0') {
        fprintf(stderr, "insn_count: give out=FILE\n");
        return -1;
    }
    qemu_plugin_register_vcpu_tb_trans_cb(id, translated);
    qemu_plugin_register_atexit_cb(id, finished, NULL);
    return 0;
}
