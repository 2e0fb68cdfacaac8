/* What the module offers to the bridge: the bridge's own functions, in a table. */
#ifndef NETRONDO_WIRETAPMODULE_H
#define NETRONDO_WIRETAPMODULE_H

#include "CWiretapBridge/CWiretapBridge.h"

/* Goes up with every change of the table: a module from another build is left alone. */
#define NR_WTAP_MODULE_VERSION 1
#define NR_WTAP_MODULE_SYMBOL "nr_wtap_module"

typedef struct nr_wtap_module_table {
    int version;
    nr_wtap* (*open)(const char* path, int* unknown, char error[NR_WTAP_ERROR_SIZE]);
    uint16_t (*link)(nr_wtap* file);
    int (*next)(nr_wtap* file, nr_wtap_frame* frame, char error[NR_WTAP_ERROR_SIZE]);
    uint64_t (*offset)(nr_wtap* file);
    void (*close)(nr_wtap* file);
} nr_wtap_module_table;

#endif
