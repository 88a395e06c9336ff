// Reading what the dynamic linker reads, and writing what it writes.
#include "probe/boundary/image.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>

namespace pcsim::probe {

namespace {

#ifdef __i386__
// What code to have an entry filled pushes: how many bytes it is into the table.
constexpr uint32_t kPushedForEntry = sizeof(Relocation);
constexpr uint8_t kBranchTarget[] = {0xF3, 0x0F, 0x1E, 0xFB};

uint32_t symbolOf(const Relocation& entry) {
    return ELF32_R_SYM(entry.r_info);
}
bool isOfSymbol(const Relocation& entry) {
    const uint32_t type = ELF32_R_TYPE(entry.r_info);
    return type == R_386_JMP_SLOT || type == R_386_GLOB_DAT || type == R_386_32;
}
#else
constexpr uint32_t kPushedForEntry = 1;  // its number
constexpr uint8_t kBranchTarget[] = {0xF3, 0x0F, 0x1E, 0xFA};

uint32_t symbolOf(const Relocation& entry) {
    return static_cast<uint32_t>(ELF64_R_SYM(entry.r_info));
}
bool isOfSymbol(const Relocation& entry) {
    const uint64_t type = ELF64_R_TYPE(entry.r_info);
    return type == R_X86_64_JUMP_SLOT || type == R_X86_64_GLOB_DAT || type == R_X86_64_64;
}
#endif

// The program headers of the object whose dynamic section is the one that is looked for.
struct Search {
    const void* dynamic;
    std::span<const ElfW(Phdr)> found;
};

int compareDynamic(dl_phdr_info* info, size_t, void* wanted) {
    auto& search = *static_cast<Search*>(wanted);
    const std::span<const ElfW(Phdr)> segments(info->dlpi_phdr, info->dlpi_phnum);
    for (const ElfW(Phdr) & segment : segments) {
        if (segment.p_type != PT_DYNAMIC) continue;
        if (reinterpret_cast<const void*>(info->dlpi_addr + segment.p_vaddr) != search.dynamic)
            continue;
        search.found = segments;
        return 1;
    }
    return 0;
}

bool isCode(const ElfW(Phdr) & segment) {
    return segment.p_type == PT_LOAD && (segment.p_flags & PF_X) != 0;
}

const ElfW(Dyn) * dynamicOf(const dl_phdr_info& info) {
    for (const ElfW(Phdr) & segment : std::span(info.dlpi_phdr, info.dlpi_phnum))
        if (segment.p_type == PT_DYNAMIC)
            return reinterpret_cast<const ElfW(Dyn)*>(info.dlpi_addr + segment.p_vaddr);
    return nullptr;
}

struct ObjectSearch {
    bool (*matches)(const Image& image, const void* with);
    const void* with;
    std::optional<Loaded> found;
};

int compareObject(dl_phdr_info* info, size_t, void* wanted) {
    auto& search = *static_cast<ObjectSearch*>(wanted);
    const ElfW(Dyn)* const dynamic = dynamicOf(*info);
    if (dynamic == nullptr) return 0;
    const Image image(info->dlpi_addr, dynamic, {info->dlpi_phdr, info->dlpi_phnum});
    if (!search.matches(image, search.with)) return 0;
    search.found = Loaded{image, info->dlpi_name};
    return 1;
}

int readLoadCount(dl_phdr_info* info, size_t, void* count) {
    *static_cast<uint64_t*>(count) = info->dlpi_adds + info->dlpi_subs;
    return 1;
}

}  // namespace

std::optional<Loaded> findLoaded(bool (*matches)(const Image& image, const void* with),
                                 const void* with) {
    ObjectSearch search{matches, with, {}};
    dl_iterate_phdr(compareObject, &search);
    return search.found;
}

std::optional<Image> objectAt(const void* address) {
    const std::optional<Loaded> found = findLoaded(
        [](const Image& image, const void* wanted) { return image.hasCode(wanted); }, address);
    return found ? std::optional(found->image) : std::nullopt;
}

uint64_t loadCount() {
    uint64_t count = 0;
    dl_iterate_phdr(readLoadCount, &count);
    return count;
}

Image::Image(uintptr_t base, const ElfW(Dyn) * dynamic) : base_(base), dynamic_(dynamic) {
    Search search{dynamic, {}};
    dl_iterate_phdr(compareDynamic, &search);
    segments_ = search.found;
    readDynamic();
}

Image::Image(uintptr_t base, const ElfW(Dyn) * dynamic, std::span<const ElfW(Phdr)> segments)
    : base_(base), dynamic_(dynamic), segments_(segments) {
    readDynamic();
}

// The dynamic linker replaces offsets by addresses where it may write; an object lies above its
// own offsets.
const void* Image::pointer(Word value) const {
    return reinterpret_cast<const void*>(value < base_ ? value + base_ : value);
}

Word Image::entry(int32_t tag) const {
    for (const ElfW(Dyn)* entry = dynamic_; entry->d_tag != DT_NULL; ++entry)
        if (entry->d_tag == tag) return entry->d_un.d_val;
    return 0;
}

template <typename Content>
const Content* Image::table(int32_t tag) const {
    const Word place = entry(tag);
    return place == 0 ? nullptr : static_cast<const Content*>(pointer(place));
}

std::span<const Relocation> Image::relocations(int32_t tag, int32_t sizeTag) const {
    const auto* const first = table<Relocation>(tag);
    return {first, first == nullptr ? 0 : entry(sizeTag) / sizeof(Relocation)};
}

void Image::readDynamic() {
    symbols_ = const_cast<ElfW(Sym)*>(table<ElfW(Sym)>(DT_SYMTAB));
    texts_ = table<char>(DT_STRTAB);
    addressTable_ = table<void>(DT_PLTGOT);
    data_ = relocations(kRelocations, kRelocationBytes);
    calls_ = relocations(DT_JMPREL, DT_PLTRELSZ);
    versions_ = table<ElfW(Half)>(DT_VERSYM);
    needed_ = table<char>(DT_VERNEED);
    neededCount_ = static_cast<uint32_t>(entry(DT_VERNEEDNUM));
    hash_ = table<uint32_t>(DT_HASH);
    gnuHash_ = table<uint32_t>(DT_GNU_HASH);
}

namespace {

// A table of names: buckets of chains, which begin with the first symbol that others may find.
struct GnuHash {
    explicit GnuHash(const uint32_t* table)
        : bucketCount(table[0]),
          first(table[1]),
          buckets(table + 4 + table[2] * (sizeof(Word) / sizeof *table)),
          chains(buckets + bucketCount - first) {}
    uint32_t bucketCount, first;
    const uint32_t* buckets;
    const uint32_t* chains;  // by symbol; the lowest bit says that a chain ends
};

uint32_t gnuHashOf(std::string_view name) {
    uint32_t hash = 5381;
    for (const char letter : name) hash = hash * 33 + static_cast<unsigned char>(letter);
    return hash;
}

}  // namespace

// The table doesn't say how many symbols there are: the last chain ends with the last.
uint32_t Image::symbolCount() const {
    if (hash_ != nullptr) return hash_[1];
    if (gnuHash_ == nullptr) return 0;
    const GnuHash table(gnuHash_);
    uint32_t last = 0;
    for (uint32_t i = 0; i < table.bucketCount; ++i) last = std::max(last, table.buckets[i]);
    if (last < table.first) return table.first;
    while ((table.chains[last] & 1) == 0) ++last;
    return last + 1;
}

void Image::forEachSymbol(
    const std::function<void(const char* name, ElfW(Sym) & symbol)>& visit) const {
    const uint32_t count = symbolCount();
    for (uint32_t i = 1; i < count; ++i) visit(texts_ + symbols_[i].st_name, symbols_[i]);
}

ElfW(Sym) * Image::hashedSymbol(std::string_view name) const {
    const GnuHash table(gnuHash_);
    if (table.bucketCount == 0) return nullptr;
    const uint32_t wanted = gnuHashOf(name);
    uint32_t i = table.buckets[wanted % table.bucketCount];
    if (i < table.first) return nullptr;
    do {
        const bool defined = symbols_[i].st_shndx != SHN_UNDEF;
        if ((table.chains[i] | 1) == (wanted | 1) && name == texts_ + symbols_[i].st_name)
            return defined ? &symbols_[i] : nullptr;
    } while ((table.chains[i++] & 1) == 0);
    return nullptr;
}

ElfW(Sym) * Image::symbol(std::string_view name) const {
    if (gnuHash_ != nullptr) return hashedSymbol(name);
    const uint32_t count = symbolCount();
    for (uint32_t i = 1; i < count; ++i)
        if (symbols_[i].st_shndx != SHN_UNDEF && name == texts_ + symbols_[i].st_name)
            return &symbols_[i];
    return nullptr;
}

const char* Image::nameAt(const void* address) const {
    const uintptr_t value = reinterpret_cast<uintptr_t>(address) - base_;
    const uint32_t count = symbolCount();
    for (uint32_t i = 1; i < count; ++i)
        if (symbols_[i].st_shndx != SHN_UNDEF && symbols_[i].st_value == value)
            return texts_ + symbols_[i].st_name;
    return nullptr;
}

void* Image::addressOf(const ElfW(Sym) & symbol) const {
    return reinterpret_cast<void*>(base_ + symbol.st_value);
}

void Image::forEachReference(const std::function<void(const Reference&)>& visit) const {
    visitTable(data_, false, visit);
    visitTable(calls_, true, visit);
}

void Image::visitTable(std::span<const Relocation> table, bool lazy,
                       const std::function<void(const Reference&)>& visit) const {
    for (const Relocation& entry : table) {
        const uint32_t number = symbolOf(entry);
        if (!isOfSymbol(entry)) continue;
        if (number == 0) continue;
        const ElfW(Sym)& symbol = symbols_[number];
        auto* const slot = reinterpret_cast<Word*>(base_ + entry.r_offset);
        const auto place = static_cast<uint32_t>(&entry - table.data());
        visit({texts_ + symbol.st_name, versionOf(number), slot, symbol.st_shndx != SHN_UNDEF,
               lazy && isUnbound(slot, place)});
    }
}

// Whether the slot leads back to the object's own code that pushes which entry of the table this is
// for the dynamic linker.
bool Image::isUnbound(const Word* slot, uint32_t entry) const {
    const auto* code = reinterpret_cast<const uint8_t*>(*slot);
    constexpr uint8_t kPush = 0x68;
    const uint32_t pushed = entry * kPushedForEntry;
    if (!hasCode(code) || !hasCode(code + 8)) return false;
    if (std::memcmp(code, kBranchTarget, sizeof kBranchTarget) == 0) code += sizeof kBranchTarget;
    return code[0] == kPush && std::memcmp(code + 1, &pushed, sizeof pushed) == 0;
}

const char* Image::versionOf(uint32_t symbol) const {
    if (versions_ == nullptr || needed_ == nullptr) return nullptr;
    constexpr ElfW(Half) kNumber = 0x7FFF;  // the highest bit hides a definition
    const auto wanted = static_cast<ElfW(Half)>(versions_[symbol] & kNumber);
    const char* at = needed_;
    for (uint32_t i = 0; i < neededCount_; ++i) {
        const auto* const file = reinterpret_cast<const ElfW(Verneed)*>(at);
        const char* version = at + file->vn_aux;
        for (uint32_t k = 0; k < file->vn_cnt; ++k) {
            const auto* const entry = reinterpret_cast<const ElfW(Vernaux)*>(version);
            if ((entry->vna_other & kNumber) == wanted) return texts_ + entry->vna_name;
            version += entry->vna_next;
        }
        at += file->vn_next;
    }
    return nullptr;
}

bool Image::hasCode(const void* address) const {
    const auto offset = reinterpret_cast<uintptr_t>(address) - base_;
    return std::ranges::any_of(segments_, [&](const ElfW(Phdr) & segment) {
        return isCode(segment) && offset - segment.p_vaddr < segment.p_filesz;
    });
}

bool Image::covers(const void* address) const {
    const auto offset = reinterpret_cast<uintptr_t>(address) - base_;
    return std::ranges::any_of(segments_, [&](const ElfW(Phdr) & segment) {
        return segment.p_type == PT_LOAD && offset - segment.p_vaddr < segment.p_memsz;
    });
}

const void* Image::findCode(size_t length, bool (*matches)(const uint8_t* bytes)) const {
    for (const ElfW(Phdr) & segment : segments_) {
        if (!isCode(segment) || segment.p_filesz < length) continue;
        const auto* const code = reinterpret_cast<const uint8_t*>(base_ + segment.p_vaddr);
        for (size_t i = 0; i + length <= segment.p_filesz; ++i)
            if (matches(code + i)) return code + i;
    }
    return nullptr;
}

int Image::protectionAt(uintptr_t page) const {
    const uintptr_t pageBytes = static_cast<uintptr_t>(getpagesize());
    int protection = PROT_READ;
    for (const ElfW(Phdr) & segment : segments_) {
        const uintptr_t begin = base_ + segment.p_vaddr;
        // What is read-only after relocation ends with a page.
        if (segment.p_type == PT_GNU_RELRO && page >= (begin & ~(pageBytes - 1)) &&
            page + pageBytes <= begin + segment.p_memsz)
            return PROT_READ;
        if (segment.p_type != PT_LOAD || page + pageBytes <= begin ||
            page >= begin + segment.p_memsz)
            continue;
        if ((segment.p_flags & PF_W) != 0) protection |= PROT_WRITE;
        if ((segment.p_flags & PF_X) != 0) protection |= PROT_EXEC;
    }
    return protection;
}

void Image::write(Word* where, Word value) const {
    const uintptr_t pageBytes = static_cast<uintptr_t>(getpagesize());
    const uintptr_t page = reinterpret_cast<uintptr_t>(where) & ~(pageBytes - 1);
    const int protection = protectionAt(page);
    const bool locked = (protection & PROT_WRITE) == 0;
    if (locked && mprotect(reinterpret_cast<void*>(page), pageBytes, protection | PROT_WRITE) != 0)
        return;
    __atomic_store_n(where, value, __ATOMIC_RELEASE);
    if (locked) mprotect(reinterpret_cast<void*>(page), pageBytes, protection);
}

}  // namespace pcsim::probe
