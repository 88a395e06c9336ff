/* The functions of a host, in every exported recording: those that answer as recorded, and an
 * ordered tree. Stands behind exported_host.c, whose asked() it uses. */

/* --- The host's functions --------------------------------------------------------------------- */

/* Whatever a function's parameters are, they are words on the stack. */
#define HOST0(name)                            \
    uint32_t host_##name(void) __asm__(#name); \
    uint32_t host_##name(void) {               \
        return asked(#name, 0);                \
    }
#define HOST1(name)                                  \
    uint32_t host_##name(uint32_t a) __asm__(#name); \
    uint32_t host_##name(uint32_t a) {               \
        return asked(#name, &a);                     \
    }
#define HOST_WORDS(name, parameters, ...)           \
    uint32_t host_##name parameters __asm__(#name); \
    uint32_t host_##name parameters {               \
        const uint32_t words[] = {__VA_ARGS__};     \
        return asked(#name, words);                 \
    }
#define HOST2(name) HOST_WORDS(name, (uint32_t a, uint32_t b), a, b)
#define HOST3(name) HOST_WORDS(name, (uint32_t a, uint32_t b, uint32_t c), a, b, c)
#define HOST4(name) HOST_WORDS(name, (uint32_t a, uint32_t b, uint32_t c, uint32_t d), a, b, c, d)
#define HOST5(name) \
    HOST_WORDS(name, (uint32_t a, uint32_t b, uint32_t c, uint32_t d, uint32_t e), a, b, c, d, e)
#define HOST7(name)                                                                              \
    HOST_WORDS(                                                                                  \
        name,                                                                                    \
        (uint32_t a, uint32_t b, uint32_t c, uint32_t d, uint32_t e, uint32_t f, uint32_t g), a, \
        b, c, d, e, f, g)

int emsNotifyIncident(const char* file, int line, const char* function, HalEmsComponent* component,
                      uint32_t incidentId, const char* format, va_list arguments) {
    const uint32_t words[] = {(uint32_t)(uintptr_t)file,
                              (uint32_t)line,
                              (uint32_t)(uintptr_t)function,
                              (uint32_t)(uintptr_t)component,
                              incidentId,
                              (uint32_t)(uintptr_t)format,
                              0};
    vfprintf(stdout, format, arguments);
    return (int)asked("emsNotifyIncident", words);
}

/* The ordered tree: a binary one without balance, its links left, right and up. */
enum { kLeft, kRight, kUp };

static HalTreeNode* linked(const HalTreeNode* node, int which) {
    return node->links[which];
}

static HalTreeNode* outermost(HalTreeNode* node, int side) {
    while (node != 0 && linked(node, side) != 0) node = linked(node, side);
    return node;
}

int32_t p2BtreeInsert(HalTreeNode* node, HalTreeRoot* root, HalTreeCompareFn* compare) {
    HalTreeNode* above = 0;
    int side = kLeft;
    for (HalTreeNode* here = *root; here != 0; here = linked(here, side)) {
        const int32_t order = compare(node, here);
        if (order == 0) return -1;
        above = here;
        side = order < 0 ? kLeft : kRight;
    }
    node->links[kLeft] = node->links[kRight] = 0;
    node->links[kUp] = above;
    if (above == 0)
        *root = node;
    else
        above->links[side] = node;
    return 0;
}

/* Puts 'other', or nothing, where 'node' is. */
static void replace(HalTreeNode* node, HalTreeNode* other, HalTreeRoot* root) {
    HalTreeNode* const up = linked(node, kUp);
    if (up == 0)
        *root = other;
    else
        up->links[linked(up, kLeft) == node ? kLeft : kRight] = other;
    if (other != 0) other->links[kUp] = up;
}

int32_t p2BtreeDelete(HalTreeNode* node, HalTreeRoot* root) {
    HalTreeNode* const left = linked(node, kLeft);
    HalTreeNode* const right = linked(node, kRight);
    if (left == 0 || right == 0) {
        replace(node, left != 0 ? left : right, root);
        return 0;
    }
    HalTreeNode* const after = outermost(right, kLeft);
    if (after != right) {
        replace(after, linked(after, kRight), root);
        after->links[kRight] = right;
        right->links[kUp] = after;
    }
    replace(node, after, root);
    after->links[kLeft] = left;
    left->links[kUp] = after;
    return 0;
}

HalTreeNode* p2BtreeFirst(HalTreeRoot* root) {
    return outermost(*root, kLeft);
}

HalTreeNode* p2BtreeNext(HalTreeNode* node) {
    if (linked(node, kRight) != 0) return outermost(linked(node, kRight), kLeft);
    HalTreeNode* up = linked(node, kUp);
    for (; up != 0 && linked(up, kRight) == node; up = linked(node, kUp)) node = up;
    return up;
}

HalTreeNode* findNode(const HalTreeNode* key, HalTreeRoot root, HalTreeCompareFn* compare) {
    while (root != 0) {
        const int32_t order = compare(key, root);
        if (order == 0) break;
        root = linked(root, order < 0 ? kLeft : kRight);
    }
    return root;
}

/* --- The whole of it ------------------------------------------------------------------------- */

static void crashed(int number) {
    fprintf(out, "call %u %s: crashed: signal %d\n", (unsigned)about.number, about.name, number);
    fflush(out);
    _exit(1);
}

static int playAll(const struct recording* what, const char* path) {
    const int signals[] = {SIGSEGV, SIGBUS, SIGILL, SIGFPE, SIGABRT, SIGTRAP};
    recording = *what;
    library = dlopen(path, RTLD_LAZY | RTLD_GLOBAL);
    if (library == 0) {
        fprintf(stderr, "%s\n", dlerror());
        return 2;
    }
    for (unsigned index = 0; index < sizeof signals / sizeof *signals; ++index)
        signal(signals[index], crashed);
    /* From now on standard output and error are what the library prints. */
    out = stdout;
    stdout = stderr = open_memstream(&printed, &printedSize);
    for (next = what->script; next->action != kEnd;) play();
    if (differences == 0) fprintf(out, "%u calls, no difference\n", calls);
    fflush(out);
    _exit(differences == 0 ? 0 : 1);
}

/* --- What was recorded ------------------------------------------------------------------------ */
