/* Two rows of docs/hal-interface.md on a thread each, under ThreadSanitizer, which ends the process
 * when they race. One row alone runs on the main thread.
 *
 * usage: side_by_side stack|chassis ROUNDS ROW [ROW]
 *        side_by_side rows stack|chassis              prints the names of the rows
 *        side_by_side unwritten                       reads what the library leaves unwritten */
#include <pthread.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "pcsim/device.h"
#include "tests/races/rows.h"

static uint32_t rounds;
static pthread_barrier_t start;

static const Row* rowNamed(const char* name) {
    for (size_t i = 0; i < kRowCount; ++i)
        if (strcmp(kRows[i].name, name) == 0) return &kRows[i];
    fprintf(stderr, "there is no row '%s'\n", name);
    exit(2);
}

static void run(const Row* row) {
    for (uint32_t round = 0; round < rounds; ++round) row->work(round);
}

static void* runBeside(void* row) {
    pthread_barrier_wait(&start);
    run(row);
    return NULL;
}

static void runSideBySide(const Row* const* rows) {
    pthread_t threads[2];
    pthread_barrier_init(&start, NULL, 2);
    for (int i = 0; i < 2; ++i)
        if (pthread_create(&threads[i], NULL, runBeside, (void*)rows[i]) != 0) abort();
    for (int i = 0; i < 2; ++i) pthread_join(threads[i], NULL);
}

/* A stackable has one slot. */
static int printRows(int isStack) {
    for (size_t i = 0; i < kRowCount; ++i)
        if (!isStack || strcmp(kRows[i].name, "ports of another slot") != 0) puts(kRows[i].name);
    return 0;
}

static int readUnwritten(void) {
    HalDeviceCapability* const capability = pcSimGetDeviceCapability("mouse");
    written(capability->unset36, sizeof capability->unset36);
    free(capability);
    return 0;
}

int main(int argc, char** argv) {
    if (argc == 3 && strcmp(argv[1], "rows") == 0) return printRows(strcmp(argv[2], "stack") == 0);
    if (argc == 2 && strcmp(argv[1], "unwritten") == 0) return readUnwritten();
    if (argc < 4 || argc > 5) return 2;
    rounds = (uint32_t)strtoul(argv[2], NULL, 10);
    const Row* const rows[] = {rowNamed(argv[3]), rowNamed(argv[argc - 1])};
    if (argc == 4) sendTraces();
    setUp(strcmp(argv[1], "chassis") == 0);
    if (argc == 4)
        run(rows[0]);
    else
        runSideBySide(rows);
    printf("\n%s: %u rounds\n", argv[3], rounds);
    return 0;
}
