/* A tiny C host: starts the library from the installed tree and sends one
 * request through process and one straight to its export. */
#include <kesto/kesto_ctype.h>
#include <stdio.h>
#include <string.h>

int main(void)
{
    if (!init()) { fprintf(stderr, "init failed\n"); return 1; }
    init_func_map();
    init_orig_func_map();
    const char* reply = process("{\"func\":\"CREATE_JOB\",\"paras\":{\"job\":\"installed\"}}");
    if (!reply) { fprintf(stderr, "no reply\n"); return 1; }
    printf("process: %s\n", reply);
    const char* matrix = get_matrix("{\"func\":\"GET_MATRIX\",\"paras\":{\"job\":\"installed\"}}");
    printf("get_matrix: %s\n", matrix ? matrix : "(null)");
    printf("version: %s\n", KESTO_VERSION);
    return strcmp(reply, "OK") == 0 ? 0 : 1;
}
