/* The script of every exported recording, step by step: what the HAL calls, what the library asks
 * of it meanwhile, and what is printed. Stands behind exported_host.c. */

/* --- What the library prints ------------------------------------------------------------------ */

static char* printed;
static size_t printedSize;
static char* expectedPrint;
static size_t expectedSize;

static void expectPrint(const struct step* step) {
    expectedPrint = realloc(expectedPrint, expectedSize + step->length + 1);
    memcpy(expectedPrint + expectedSize, step->bytes, step->length);
    expectedSize += step->length;
    expectedPrint[expectedSize] = 0;
}

/* The line of a text that begins at 'from'. */
static const char* lineAt(char* line, size_t size, const char* text, size_t length, size_t from) {
    if (from >= length) return "nothing";
    const char* const end = memchr(text + from, '\n', length - from);
    const size_t all = end != 0 ? (size_t)(end - text) - from : length - from;
    snprintf(line, size, "\"%.*s\"", (int)all, text + from);
    return line;
}

/* The first line that differs says enough. */
static void checkPrint(void) {
    char lines[2][512];
    size_t from = 0;
    fflush(stdout);
    const size_t least = printedSize < expectedSize ? printedSize : expectedSize;
    for (size_t index = 0; index <= least; ++index) {
        const int ends = index == printedSize || index == expectedSize;
        if (ends && printedSize == expectedSize) break;
        if (ends || printed[index] != expectedPrint[index]) {
            differs("print", lineAt(lines[0], sizeof lines[0], expectedPrint, expectedSize, from),
                    lineAt(lines[1], sizeof lines[1], printed, printedSize, from));
            break;
        }
        if (printed[index] == '\n') from = index + 1;
    }
    expectedSize = 0;
    rewind(stdout);
}

/* A dump's sink. */
int dumpPrint(uint32_t context, const char* format, ...);
int dumpPrint(uint32_t context, const char* format, ...) {
    va_list arguments;
    (void)context;
    va_start(arguments, format);
    vfprintf(stdout, format, arguments);
    va_end(arguments);
    return 0;
}

/* --- Calls ------------------------------------------------------------------------------------ */

static void play(void);

static uint32_t invoke(void* function, unsigned count, const uint32_t* w) {
    union {
        void* pointer;
        uint32_t (*call)(uint32_t, ...);
        uint32_t (*bare)(void);
    } f = {function};
    switch (count) {
        case 0:
            return f.bare();
        case 1:
            return f.call(w[0]);
        case 2:
            return f.call(w[0], w[1]);
        case 3:
            return f.call(w[0], w[1], w[2]);
        case 4:
            return f.call(w[0], w[1], w[2], w[3]);
        case 5:
            return f.call(w[0], w[1], w[2], w[3], w[4]);
        case 6:
            return f.call(w[0], w[1], w[2], w[3], w[4], w[5]);
        default:
            return f.call(w[0], w[1], w[2], w[3], w[4], w[5], w[6], w[7], w[8], w[9], w[10], w[11]);
    }
}

static void checkResult(const struct step* step, uint32_t seen) {
    uint32_t expected = step->address;
    const struct field field = {0, 4, (char)step->size, "result"};
    const struct field half = {0, 1, 'u', "result"};
    if (step->size == '-') return;
    checkField(step->size == '1' ? &half : &field, (const unsigned char*)&expected,
               (const unsigned char*)&seen);
}

static void missing(const struct step* step) {
    differs("calls", step->name, "no such call");
}

/* What the script has before the return of a call, and the library hasn't done. */
static void skipTo(enum action action, uint32_t number) {
    for (; next->action != kEnd && (next->action != action || next->number != number); ++next) {
        if (next->action == kAsked) missing(next);
        if (next->action == kPrint) expectPrint(next);
    }
}

static void call(const struct step* step) {
    uint32_t words[kWords] = {0};
    const unsigned count = (unsigned)strlen(step->kinds);
    void* const function = step->address != 0 ? thingAt(step->address) : dlsym(library, step->name);
    for (unsigned index = 0; index < count; ++index) {
        const char kind = step->kinds[index];
        words[index] = isPointer(kind) ? (uint32_t)(uintptr_t)pointerOf(kind, step->words[index])
                                       : step->words[index];
    }
    about.number = step->number;
    about.name = step->name;
    ++calls;
    if (function == 0) {
        differs("call", "to be there", "no such function");
        skipTo(kReturn, step->number);
        return;
    }
    ++depth;
    const uint32_t result = invoke(function, count, words);
    --depth;
    about.number = step->number;
    about.name = step->name;
    skipTo(kReturn, step->number);
    if (next->action == kEnd) return;
    checkResult(next++, result);
    while (next->action == kCheck) check(next++);
    if (depth == 0) checkPrint();
}

/* The library calls the HAL, or the C library. */
static uint32_t asked(const char* name, const uint32_t* words) {
    if (next == 0) return 0; /* still loading */
    while (next->action == kPrint) expectPrint(next++);
    if (next->action != kAsked || strcmp(next->name, name) != 0) {
        differs("calls", next->action == kAsked ? next->name : "no call", name);
        return 0;
    }
    const struct step* const step = next++;
    ++calls;
    for (unsigned index = 0; step->kinds[index] != 0; ++index) {
        const struct field field = {0, 4, step->kinds[index], name};
        if (field.kind != '-')
            checkField(&field, (const unsigned char*)&step->words[index],
                       (const unsigned char*)&words[index]);
    }
    while (next->action != kEnd && (next->action != kAnswer || next->number != step->number))
        play();
    if (next->action == kEnd) return 0;
    const struct step* const answer = next++;
    const char kind = (char)answer->size;
    return isPointer(kind) ? (uint32_t)(uintptr_t)pointerOf(kind, answer->address)
                           : answer->address;
}

/* The next step of the script. */
static void play(void) {
    const struct step* const step = next++;
    switch (step->action) {
        case kMemory:
            give(step);
            break;
        case kTaken:
            take(step);
            break;
        case kCheck:
            check(step);
            break;
        case kPrint:
            expectPrint(step);
            break;
        case kCall:
            call(step);
            break;
        case kAsked:
            missing(step);
            break;
        default:
            break;
    }
}
