// The options of a probe: read, carried through the environment as text, refused.
#include "probe/control/options.h"

#include <unistd.h>

#include "tests/probe/program/scratch.h"

namespace pcsim::probe {
namespace {

class ProbeOptionsTest : public ScratchTest {
protected:
    static std::string problemIn(const std::string& text) {
        return problemOf([&] { readProbeOptions(text); });
    }
};

TEST_F(ProbeOptionsTest, AreReadFromText) {
    const ProbeOptions options = readProbeOptions(
        "--name=sw1 --plan=/p --trace /t --record=\"/a b/r\" --coverage=/c --flight=1000 "
        "--times --tree");
    EXPECT_EQ("sw1", options.name);
    EXPECT_EQ("/p", options.plan);
    EXPECT_EQ("/t", options.trace);
    EXPECT_EQ("/a b/r", options.record);
    EXPECT_EQ("/c", options.coverage);
    EXPECT_EQ(1000u, options.flight);
    EXPECT_TRUE(options.times);
    EXPECT_TRUE(options.tree);
}

TEST_F(ProbeOptionsTest, WithoutOneNothingIsWanted) {
    const ProbeOptions options = readProbeOptions("");
    EXPECT_EQ("", options.name + options.plan + options.trace + options.record + options.coverage);
    EXPECT_EQ(0u, options.flight);
    EXPECT_FALSE(options.times || options.tree);
    EXPECT_EQ("", textOf(options));
}

TEST_F(ProbeOptionsTest, AreTheSameBehindTheirText) {
    const std::string text =
        "--name=\"sw1\" --plan=\"/a b/#p\" --trace=\"/t\" --record=\"/r\" --coverage=\"/c\" "
        "--flight=\"7\" --tree --times";
    EXPECT_EQ(text, textOf(readProbeOptions(text)));
}

// The program may go to another folder before a file is opened.
TEST_F(ProbeOptionsTest, FilesAreOfTheFolderAtTheStart) {
    ASSERT_EQ(0, chdir(folder.c_str()));
    char here[4096];
    ASSERT_NE(nullptr, getcwd(here, sizeof here));
    EXPECT_EQ(std::string(here) + "/plan.txt", readProbeOptions("--plan=plan.txt").plan);
}

TEST_F(ProbeOptionsTest, SayWhatWouldBeRight) {
    EXPECT_EQ("there is no option --frob; 'pcsim-probe --help' lists them", problemIn("--frob"));
    EXPECT_EQ("'word' is not an option; PCSIM_PROBE holds options alone", problemIn("word"));
    EXPECT_EQ("--flight needs a number of calls from 1 to 1000000", problemIn("--flight=0"));
    EXPECT_EQ("--name may be given once", problemIn("--name a --name b"));
    EXPECT_EQ("--plan needs the name of a file with fault rules", problemIn("--plan"));
    EXPECT_EQ(
        "'12' can't be a name; expected letters, digits, '-', '_' and '.', at most 60, and not "
        "digits alone",
        problemIn("--name 12"));
    for (const char* name : {"a/b", ".hidden", "-x", "a\tb"})
        EXPECT_NE("", problemIn("--name=\"" + std::string(name) + "\"")) << name;
    EXPECT_NE("", problemIn("--name=" + std::string(61, 'a')));
    EXPECT_EQ("", problemIn("--name=" + std::string(60, 'a')));
    EXPECT_EQ("the quote before '/a' is not closed; end it with \"", problemIn("--plan \"/a"));
}

}  // namespace
}  // namespace pcsim::probe
