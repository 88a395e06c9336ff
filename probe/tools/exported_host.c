/* What every exported recording begins with: plays the HAL's part against a build of the library.
 * Behind it stand the host's functions (exported_functions.c), the recorded calls as a script, and
 * main(). */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <signal.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include "pcsim/ems.h"
#include "pcsim/host.h"
#include "pcsim/host_tree.h"
#include "pcsim/layout.h"

enum { kWords = 16, kLearned = 65536 };

/* A value in memory. Kinds: 'd' signed, 'u' unsigned, 'x' bits, 's' text, 'b' bytes, 'p' pointer,
 * 'h' pointer to what the library owns, 'f' to a function, '-' whatever it is. */
struct field {
    uint32_t offset, size;
    char kind;
    const char* name;
};

/* Memory of the HAL that was recorded. */
struct segment {
    uint32_t address, size;
    unsigned char* memory;
};

/* A function or variable by its recorded address: the library's by name, or the one that is here.
 */
struct symbol {
    uint32_t address, size;
    const char* name;
    void* here;
};

enum action { kEnd, kMemory, kTaken, kCheck, kPrint, kCall, kReturn, kAsked, kAnswer };

struct step {
    enum action action;
    uint32_t number; /* of the call */
    const char* name;
    uint32_t address, size; /* recorded; of a result its value and its kind */
    const struct field* fields;
    const char* bytes;
    uint32_t length;   /* of bytes; what of 'size' is behind them is 0 */
    const char* kinds; /* of the words */
    uint32_t words[kWords];
    char owner; /* of the memory: 'h' the library */
};

#define BLOCK(action, owner, address, size, fields, bytes) \
    { action, 0, 0, address, size, fields, bytes, sizeof bytes - 1, 0, {0}, owner }
#define MEMORY(owner, address, size, fields, bytes) \
    BLOCK(kMemory, owner, address, size, fields, bytes)
#define CHECK(owner, address, size, fields, bytes) \
    BLOCK(kCheck, owner, address, size, fields, bytes)
#define TAKEN(address, value, size) \
    { kTaken, 0, 0, address, size, 0, 0, 0, 0, {value}, 0 }
#define PRINT(text) \
    { kPrint, 0, 0, 0, 0, 0, text, sizeof text - 1, 0, {0}, 0 }
#define WORDS(action, number, name, kinds, ...) \
    { action, number, name, 0, 0, 0, 0, 0, kinds, {__VA_ARGS__}, 0 }
#define CALL(number, name, kinds, ...) WORDS(kCall, number, name, kinds, __VA_ARGS__)
/* Of a function of the library that has no name: known by where it was. */
#define CALLBACK(number, name, target, kinds, ...) \
    { kCall, number, name, target, 0, 0, 0, 0, kinds, {__VA_ARGS__}, 0 }
#define ASKED(number, name, kinds, ...) WORDS(kAsked, number, name, kinds, __VA_ARGS__)
#define RESULT(action, number, kind, value) \
    { action, number, 0, value, kind, 0, 0, 0, 0, {0}, 0 }
#define RETURN(number, kind, value) RESULT(kReturn, number, kind, value)
#define ANSWER(number, kind, value) RESULT(kAnswer, number, kind, value)
#define END \
    { kEnd, 0, 0, 0, 0, 0, 0, 0, 0, {0}, 0 }

struct recording {
    const struct step* script;
    const struct segment* segments; /* behind the last one an empty one; so of the others */
    const struct symbol* symbols;
};

/* --- Where things are ------------------------------------------------------------------------- */

static struct recording recording;
static const struct step* next;
static void* library;
static FILE* out;
static unsigned differences, calls;
static unsigned depth;
static struct {
    uint32_t number;
    const char* name;
} about;

/* Where the library has put what it owns: the last ones count. */
static struct {
    uint32_t address;
    unsigned char* here;
} learned[kLearned];
static unsigned learnedCount;

static void differs(const char* field, const char* expected, const char* seen) {
    ++differences;
    fprintf(out, "call %u %s: %s: expected %s, seen %s\n", (unsigned)about.number, about.name,
            field, expected, seen);
    fflush(out);
}

static void learn(uint32_t address, void* here) {
    learned[learnedCount % kLearned].address = address;
    learned[learnedCount % kLearned].here = here;
    ++learnedCount;
}

static void* inSegments(uint32_t address) {
    const struct segment* segment = recording.segments;
    for (; segment->memory != 0; ++segment)
        if (address - segment->address < segment->size)
            return segment->memory + (address - segment->address);
    return 0;
}

static void* inSymbols(uint32_t address) {
    const struct symbol* symbol = recording.symbols;
    for (; symbol->size != 0; ++symbol) {
        if (address - symbol->address >= symbol->size) continue;
        unsigned char* here = symbol->here;
        if (here == 0) here = dlsym(library, symbol->name);
        return here == 0 ? 0 : here + (address - symbol->address);
    }
    return 0;
}

/* The nearest thing at the address or a little below it. */
static void* inLearned(uint32_t address) {
    const uint32_t farthest = 4096;
    unsigned char* found = 0;
    uint32_t nearest = farthest;
    const unsigned first = learnedCount > kLearned ? learnedCount - kLearned : 0;
    for (unsigned index = learnedCount; index-- > first && nearest != 0;) {
        const uint32_t far = address - learned[index % kLearned].address;
        if (far >= nearest) continue;
        nearest = far;
        found = learned[index % kLearned].here + far;
    }
    return found;
}

/* The same of what the library owns, which may lie where the HAL has had memory before. */
static void* thingAt(uint32_t address) {
    void* here = address == 0 ? 0 : inSymbols(address);
    if (here == 0 && address != 0) here = inLearned(address);
    return here;
}

/* What was recorded at an address is here now. Numbers that are no address stay. */
static void* at(uint32_t address) {
    void* here = address == 0 ? 0 : inSegments(address);
    if (here == 0 && address != 0) here = inSymbols(address);
    if (here == 0 && address != 0) here = inLearned(address);
    return here != 0 ? here : (void*)(uintptr_t)address;
}

/* Whether a pointer is what was recorded. Things of the library are wherever it has them. */
static int isSamePointer(char kind, uint32_t recorded, void* seen) {
    void* here = recorded == 0 || kind == 'h' ? 0 : inSegments(recorded);
    if (here == 0 && recorded != 0) here = inSymbols(recorded);
    if (recorded == 0 || seen == 0) return (recorded == 0) == (seen == 0);
    if (here != 0) return here == seen;
    learn(recorded, seen);
    return 1;
}

static int isPointer(char kind) {
    return kind == 'p' || kind == 'h' || kind == 'f';
}

static void* pointerOf(char kind, uint32_t recorded) {
    void* const here = kind == 'h' ? thingAt(recorded) : 0;
    return here != 0 ? here : at(recorded);
}

/* --- Values ----------------------------------------------------------------------------------- */

static void print(char* text, size_t size, char kind, const unsigned char* bytes, uint32_t count) {
    uint64_t number = 0;
    if (count <= sizeof number) memcpy(&number, bytes, count);
    const unsigned shift = count < 8 ? 64 - 8 * count : 0;
    if (kind == 'd' && count <= 8)
        snprintf(text, size, "%lld", (long long)((int64_t)(number << shift) >> shift));
    else if (kind == 'u' && count <= 8)
        snprintf(text, size, "%llu", (unsigned long long)number);
    else if (kind == 's')
        snprintf(text, size, "\"%.*s\"", (int)strnlen((const char*)bytes, count),
                 (const char*)bytes);
    else if (count <= 8)
        snprintf(text, size, "0x%llx", (unsigned long long)number);
    else
        for (uint32_t index = 0; index < count && 2 * index + 3 <= size; ++index)
            snprintf(text + 2 * index, 3, "%02x", bytes[index]);
}

static uint32_t wordOf(const unsigned char* bytes) {
    uint32_t word;
    memcpy(&word, bytes, sizeof word);
    return word;
}

static void checkField(const struct field* field, const unsigned char* expected,
                       const unsigned char* seen) {
    char texts[2][512];
    int same;
    if (isPointer(field->kind))
        same = isSamePointer(field->kind, wordOf(expected), (void*)(uintptr_t)wordOf(seen));
    else if (field->kind == 's')
        same = strncmp((const char*)expected, (const char*)seen, field->size) == 0;
    else
        same = memcmp(expected, seen, field->size) == 0;
    if (same) return;
    print(texts[0], sizeof texts[0], field->kind, expected, field->size);
    print(texts[1], sizeof texts[1], field->kind, seen, field->size);
    differs(field->name, texts[0], texts[1]);
}

static const unsigned char* bytesOf(const struct step* step) {
    static unsigned char bytes[1 << 20];
    memset(bytes, 0, step->size);
    memcpy(bytes, step->bytes, step->length);
    return bytes;
}

static void check(const struct step* step) {
    const unsigned char* const expected = bytesOf(step);
    const unsigned char* const seen = pointerOf(step->owner, step->address);
    for (const struct field* field = step->fields; field->size != 0; ++field)
        if (field->kind != '-') checkField(field, expected + field->offset, seen + field->offset);
}

static void give(const struct step* step) {
    const unsigned char* const bytes = bytesOf(step);
    unsigned char* const here = pointerOf(step->owner, step->address);
    for (const struct field* field = step->fields; field->size != 0; ++field) {
        if (!isPointer(field->kind)) {
            memcpy(here + field->offset, bytes + field->offset, field->size);
            continue;
        }
        void* const pointer = pointerOf(field->kind, wordOf(bytes + field->offset));
        memcpy(here + field->offset, &pointer, sizeof pointer);
    }
}

/* Memory that passes to the library, which frees it. */
static void take(const struct step* step) {
    void* const copy = malloc(step->size);
    memcpy(copy, at(step->words[0]), step->size);
    memcpy(at(step->address), &copy, sizeof copy);
}
