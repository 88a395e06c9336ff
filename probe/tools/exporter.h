// Writes a recording as a program in C that plays the HAL's part, and depends on nothing but the
// interface's headers.
//
// The memory of the HAL is laid out anew in segments, one for each piece that lay together; the
// program knows recorded addresses alone and finds out where things are now. Calls of two threads
// stand one behind the other, in the order in which they began. The ordered tree is the program's
// own, whatever the recording knows of it.
#ifndef PCSIM_PROBE_TOOLS_EXPORTER_H
#define PCSIM_PROBE_TOOLS_EXPORTER_H

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "probe/record/image.h"
#include "probe/record/recording.h"
#include "probe/tools/call_tree.h"
#include "probe/tools/data.h"
#include "probe/tools/teller.h"

namespace pcsim::probe {

class Exporter {
public:
    explicit Exporter(const Recording& recording);

    // The program, from its first line to its last; 'name' is what it was made of.
    std::string text(const std::string& name);

private:
    void event(size_t index, bool outermost);
    void called(size_t index);
    void returned(const Event& event);
    // The blocks that are put into memory, and those that are held against it.
    void give(const Event& event, bool platformToo);
    void check(const Event& event);
    void giveBlock(const RecordedBlock& block, std::span<const RecordedBlock> all);
    void taken(const RecordedBlock& block, std::span<const RecordedBlock> all);
    bool isKnown(const RecordedBlock& block);
    void noteBytes(const RecordedBlock& block);

    std::string fieldsOf(const RecordedBlock& block, bool checked);
    std::string argumentsOf(const Event& event, std::string& kinds);
    char kindOf(const Type& type, const Semantics* semantics, Meaning meaning);
    void noteFunction(const Type& type, uint32_t value);

    std::string segmentsText();
    std::string symbolsText();
    std::string variablesText();
    std::string functionsText() const;

    const Recording& recording_;
    CallTree tree_;
    Teller teller_;
    std::string script_;
    std::string layouts_;
    std::map<std::pair<std::string, uint32_t>, std::string> layoutNames_;
    std::set<uint32_t> functions_;                   // of either side, as far as they are passed
    std::map<uint32_t, const Type*> functionTypes_;  // what they were passed as
    Image image_;
    uint32_t treeDepth_ = 0;  // calls under way of the tree, which are left out
};

}  // namespace pcsim::probe

#endif
