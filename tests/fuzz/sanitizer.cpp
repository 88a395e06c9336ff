// What the sanitizer keeps of each block is a good part of an input's time: the places that blocks
// come from are kept only where ASAN_OPTIONS asks for them, to look at a finding, and released
// blocks for as long as an input runs.
extern "C" const char* __asan_default_options() {
    return "malloc_context_size=0:quarantine_size_mb=8";
}
