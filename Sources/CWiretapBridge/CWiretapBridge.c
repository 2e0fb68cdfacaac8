/* Finds and loads the module, once; then passes calls on. */
#define _GNU_SOURCE
#include "CWiretapBridge/CWiretapBridge.h"

#include "CWiretapBridge/WiretapModule.h"

#include <dlfcn.h>
#include <limits.h>
#include <pthread.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

static const char module_name[] = "netrondo-wiretap.so";
static const nr_wtap_module_table* module;
static pthread_once_t once = PTHREAD_ONCE_INIT;

static void load(const char* path)
{
    void* library = access(path, R_OK) == 0 ? dlopen(path, RTLD_NOW | RTLD_LOCAL) : NULL;
    const nr_wtap_module_table* table = library ? dlsym(library, NR_WTAP_MODULE_SYMBOL) : NULL;
    if (table && table->version == NR_WTAP_MODULE_VERSION)
        module = table; /* it stays loaded: the library cannot be unloaded safely */
    else if (library)
        dlclose(library);
}

/* The file this program was started from, without its last `parts` parts. */
static int folder_above(char folder[PATH_MAX], int parts)
{
    const ssize_t length = readlink("/proc/self/exe", folder, PATH_MAX - 1);
    if (length <= 0)
        return 0;
    folder[length] = '\0';
    while (parts-- > 0) {
        char* slash = strrchr(folder, '/');
        if (!slash)
            return 0;
        *slash = '\0';
    }
    return 1;
}

static void load_below(const char* folder, const char* place)
{
    char path[2 * PATH_MAX];
    if (!module && snprintf(path, sizeof path, "%s/%s/%s", folder, place, module_name) < (int)sizeof path)
        load(path);
}

/* NETRONDO_WIRETAP names a module; else it lies where the build or the installation put it. */
static void find(void)
{
    const char* named = getenv("NETRONDO_WIRETAP");
    if (named) {
        load(named);
        return;
    }
    char folder[PATH_MAX];
    if (folder_above(folder, 2)) {
        load_below(folder, "CWiretapBridge");
        load_below(folder, "Sources/CWiretapBridge");
    }
    load_below(NETRONDO_MODULE_FOLDER, ".");
}

int nr_wtap_available(void)
{
    pthread_once(&once, find);
    return module != NULL;
}

nr_wtap* nr_wtap_open(const char* path, int* unknown, char error[NR_WTAP_ERROR_SIZE])
{
    return module->open(path, unknown, error);
}

uint16_t nr_wtap_link(nr_wtap* file)
{
    return module->link(file);
}

int nr_wtap_next(nr_wtap* file, nr_wtap_frame* frame, char error[NR_WTAP_ERROR_SIZE])
{
    return module->next(file, frame, error);
}

uint64_t nr_wtap_offset(nr_wtap* file)
{
    return module->offset(file);
}

void nr_wtap_close(nr_wtap* file)
{
    if (file)
        module->close(file);
}
