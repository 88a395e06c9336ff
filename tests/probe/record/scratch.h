// A file of a test's own, gone with it.
#ifndef PCSIM_TESTS_PROBE_RECORD_SCRATCH_H
#define PCSIM_TESTS_PROBE_RECORD_SCRATCH_H

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>

namespace pcsim::probe::test {

class Scratch {
public:
    Scratch() { close(mkstemp(path_.data())); }
    ~Scratch() { unlink(path_.c_str()); }
    Scratch(const Scratch&) = delete;
    Scratch& operator=(const Scratch&) = delete;

    const std::string& path() const { return path_; }
    std::string contents() const {
        std::ifstream file(path_, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }
    void put(const std::string& contents) const {
        std::ofstream(path_, std::ios::binary) << contents;
    }

private:
    std::string path_ = testing::TempDir() + "pcsim-record-XXXXXX";
};

}  // namespace pcsim::probe::test

#endif
