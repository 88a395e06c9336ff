// An object that the dynamic linker has loaded: its symbols, and the words in which it holds the
// addresses of what it refers to.
#ifndef PCSIM_PROBE_BOUNDARY_IMAGE_H
#define PCSIM_PROBE_BOUNDARY_IMAGE_H

#include <elf.h>
#include <link.h>

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string_view>

#include "probe/interface/model.h"

namespace pcsim::probe {

// How an object of this machine's word size says which words refer to what: on i386 what is to be
// added lies in the word, elsewhere beside its place.
#ifdef __i386__
using Relocation = Elf32_Rel;
constexpr int kRelocations = DT_REL, kRelocationBytes = DT_RELSZ;
#else
using Relocation = Elf64_Rela;
constexpr int kRelocations = DT_RELA, kRelocationBytes = DT_RELASZ;
#endif

// A word of an object that the dynamic linker fills with the address of a symbol.
struct Reference {
    const char* name;
    const char* version;  // of the symbol that is meant, or null
    Word* slot;
    bool defined;  // by the object itself
    // The slot is filled when it is first called through, which hasn't happened yet: it holds the
    // address of the code that has it filled.
    bool isUnbound;
};

class Image {
public:
    explicit Image(const link_map* map) : Image(map->l_addr, map->l_ld) {}
    Image(uintptr_t base, const ElfW(Dyn) * dynamic);
    Image(uintptr_t base, const ElfW(Dyn) * dynamic, std::span<const ElfW(Phdr)> segments);

    // Two images of the same object.
    bool operator==(const Image& other) const { return dynamic_ == other.dynamic_; }
    const ElfW(Dyn) * dynamic() const { return dynamic_; }
    // What the object's calls through its slots find in ebx.
    const void* addressTable() const { return addressTable_; }
    // Whether 'address' lies anywhere in the object.
    bool covers(const void* address) const;

    // Null when the object doesn't define it.
    ElfW(Sym) * symbol(std::string_view name) const;
    // The name of a function that begins at 'address'; null when it has none.
    const char* nameAt(const void* address) const;
    void forEachSymbol(
        const std::function<void(const char* name, ElfW(Sym) & symbol)>& visit) const;
    void forEachReference(const std::function<void(const Reference&)>& visit) const;
    void* addressOf(const ElfW(Sym) & symbol) const;

    // Whether 'address' lies in code of the object.
    bool hasCode(const void* address) const;
    // The first place in the object's code where 'matches' holds of 'length' bytes; or null.
    const void* findCode(size_t length, bool (*matches)(const uint8_t* bytes)) const;

    // Writes a word of the object, wherever it is, also where the object may only be read.
    void write(Word* where, Word value) const;

private:
    const void* pointer(Word value) const;
    Word entry(int32_t tag) const;  // of the dynamic section; 0 where there is none
    template <typename Content>
    const Content* table(int32_t tag) const;
    std::span<const Relocation> relocations(int32_t tag, int32_t sizeTag) const;
    void readDynamic();
    uint32_t symbolCount() const;
    ElfW(Sym) * hashedSymbol(std::string_view name) const;
    void visitTable(std::span<const Relocation> table, bool lazy,
                    const std::function<void(const Reference&)>& visit) const;
    bool isUnbound(const Word* slot, uint32_t entry) const;
    const char* versionOf(uint32_t symbol) const;
    int protectionAt(uintptr_t page) const;

    uintptr_t base_;
    const ElfW(Dyn) * dynamic_;
    std::span<const ElfW(Phdr)> segments_;
    ElfW(Sym) * symbols_ = nullptr;
    const uint32_t* hash_ = nullptr;     // the table of names of either kind, or null
    const uint32_t* gnuHash_ = nullptr;  //
    const char* texts_ = nullptr;
    const void* addressTable_ = nullptr;
    std::span<const Relocation> data_, calls_;
    const ElfW(Half) * versions_ = nullptr;
    const char* needed_ = nullptr;  // the table of versions that the object needs
    uint32_t neededCount_ = 0;
};

// The object in whose code 'address' lies; nothing when it lies in none. Waits for no lock that the
// dynamic linker holds while it runs code of others.
std::optional<Image> objectAt(const void* address);

// How often objects have been loaded and unloaded.
uint64_t loadCount();
// The first object that 'matches'; nothing when none does. Allocates no memory: its path may be
// that of the dynamic linker's own memory.
struct Loaded {
    Image image;
    const char* path;
};
std::optional<Loaded> findLoaded(bool (*matches)(const Image& image, const void* with),
                                 const void* with = nullptr);

}  // namespace pcsim::probe

#endif
