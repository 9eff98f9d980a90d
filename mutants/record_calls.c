// Writes down each function that a process calls, once, for programs compiled with -finstrument-functions. Preloaded; the
// environment's RECORDED_CALLS names the file, to which lines are added as they come: nothing is lost when a process is
// killed, replaced by another program, or left without memory or files.

#define _GNU_SOURCE
#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <link.h>
#include <stdatomic.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

enum { kPlaces = 1 << 18 };  // more than the functions of any of the programs
static _Atomic uintptr_t called[kPlaces];
static char file[4096], program[4096];

__attribute__((constructor)) static void Start(void)
{
    const char* name = getenv("RECORDED_CALLS");
    if (name != NULL) snprintf(file, sizeof file, "%s", name);
    const ssize_t length = readlink("/proc/self/exe", program, sizeof program - 1);
    program[length > 0 ? length : 0] = 0;
}

static void WriteDown(void* function)
{
    struct dl_find_object object;
    if (file[0] == 0 || _dl_find_object(function, &object) != 0) return;
    const struct link_map* module = object.dlfo_link_map;
    char line[4200];
    const int length = snprintf(line, sizeof line, "%lx %s\n", (unsigned long)function - module->l_addr,
                                module->l_name[0] != 0 ? module->l_name : program);
    const int kept = errno;
    const int out = open(file, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0600);
    if (out >= 0) {
        if (write(out, line, (size_t)length) < 0) _exit(99);
        close(out);
    }
    errno = kept;
}

void __cyg_profile_func_enter(void* function, void* from)
{
    (void)from;
    for (uintptr_t at = (uintptr_t)function >> 4;; ++at) {
        uintptr_t there = atomic_load_explicit(&called[at % kPlaces], memory_order_relaxed);
        if (there == (uintptr_t)function) return;
        if (there == 0 && atomic_compare_exchange_strong(&called[at % kPlaces], &there, (uintptr_t)function)) {
            WriteDown(function);
            return;
        }
        if (there == (uintptr_t)function) return;
    }
}

void __cyg_profile_func_exit(void* function, void* from)
{
    (void)function;
    (void)from;
}
