// A folder for the files of one case, which is also where control blocks are looked for.
#ifndef PCSIM_TESTS_PROBE_PROGRAM_SCRATCH_H
#define PCSIM_TESTS_PROBE_PROGRAM_SCRATCH_H

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

namespace pcsim::probe {

class ScratchTest : public testing::Test {
protected:
    ScratchTest() {
        std::string name = (std::filesystem::temp_directory_path() / "pcsim.XXXXXX").string();
        folder = mkdtemp(name.data());
        setenv("PCSIM_RUN_DIR", folder.c_str(), 1);
    }
    ~ScratchTest() override { std::filesystem::remove_all(folder); }

    std::string at(const std::string& name) const { return folder + "/" + name; }

    static void write(const std::string& path, const std::string& text) {
        std::ofstream(path, std::ios::binary) << text;
    }
    static std::string read(const std::string& path) {
        std::ostringstream text;
        text << std::ifstream(path, std::ios::binary).rdbuf();
        return text.str();
    }
    // What 'action' throws, "" when nothing.
    template <typename Action>
    static std::string problemOf(Action action) {
        try {
            action();
        } catch (const std::exception& problem) {
            return problem.what();
        }
        return "";
    }

    std::string folder;
};

}  // namespace pcsim::probe

#endif
