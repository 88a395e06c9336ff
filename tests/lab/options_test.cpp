// Options as tables: what is read, in which order, what is said about each mistake, and the help.
#include "lab/options.h"

#include <getopt.h>
#include <gtest/gtest.h>
#include <stdlib.h>

namespace {

using namespace pcsim;

const Option kOptions[] = {
    {.name = "help", .letter = 'h', .help = "Print this help and exit", .takes = Takes::End},
    {.name = "ports",
     .letter = 'p',
     .value = "N",
     .help = "How many",
     .need = "a number from 2 to 30",
     .takes = Takes::Number,
     .low = 2,
     .high = 30},
    {.name = "port-names", .help = "Name them"},
    {.name = "shape",
     .value = "SHAPE",
     .help = "Round or square",
     .need = "'round' or 'square'",
     .takes = Takes::Choice,
     .choices = {"round", "square"}},
    {.name = "file",
     .letter = 'f',
     .value = "FILE",
     .help = "Read this",
     .need = "the name of a file",
     .takes = Takes::Name,
     .repeats = true},
    {.name = "text",
     .letter = 't',
     .value = "TEXT",
     .help = "Say this",
     .need = "a text",
     .takes = Takes::Text,
     .repeats = true},
    {.name = "report",
     .value = "round|flat FILE",
     .help = "Write this",
     .need = "'round' or 'flat', and the name of a file",
     .takes = Takes::Pair,
     .repeats = true,
     .choices = {"round", "flat"}},
    {.name = "quiet", .letter = 'q', .help = "Say nothing"},
};

constexpr Program kStrict{.name = "thing",
                          .about = "thing: does things.",
                          .usage = "[options]",
                          .onWord = "words go behind -t",
                          .options = kOptions};
constexpr Program kRunner{.name = "runner",
                          .about = "runner: runs things.",
                          .usage = "[options] command",
                          .onWord = nullptr,
                          .options = kOptions};

using Words = std::vector<std::string>;

GivenOptions read(const Program& program, Words words) {
    words.insert(words.begin(), program.name);
    std::vector<char*> argv;
    for (std::string& word : words) argv.push_back(word.data());
    argv.push_back(nullptr);
    return readOptions(program, static_cast<int>(words.size()), argv.data());
}

// "name=value" of each option in its order, then the command behind "--".
std::string readAs(const Program& program, const Words& words) {
    const GivenOptions given = read(program, words);
    std::string text;
    for (const auto& [name, value, second] : given.inOrder)
        text += name + "=" + value + (second.empty() ? "" : ":" + second) + " ";
    for (const std::string& word : given.command) text += "[" + word + "]";
    return text;
}

// What is said is the caller's to print.
std::string problemOf(const Program& program, const Words& words) {
    testing::internal::CaptureStderr();
    std::string text;
    try {
        text = "read as " + readAs(program, words);
    } catch (const OptionProblem& problem) {
        text = problem.what();
    }
    return text + testing::internal::GetCapturedStderr();
}

struct Reading {
    Words words;
    const char* result;
};

TEST(OptionsTest, AreReadInTheirOrder) {
    const Reading readings[] = {
        {{}, ""},
        {{"--"}, ""},
        {{"--ports", "2"}, "ports=2 "},
        {{"--ports=30"}, "ports=30 "},
        {{"-p", "7"}, "ports=7 "},
        {{"-p007"}, "ports=007 "},
        {{"-qp7"}, "quiet= ports=7 "},
        {{"-q", "--quiet", "-qq"}, "quiet= quiet= quiet= quiet= "},
        {{"--shape", "square", "--port-names"}, "shape=square port-names= "},
        {{"-t", "a", "-f", "b", "--text", "c d", "-fe"}, "text=a file=b text=c d file=e "},
        {{"--file=a=b", "-f=", "--file", "-"}, "file=a=b file== file=- "},
        {{"--report", "flat", "-", "--report=round", "--quiet", "-q"},
         "report=flat:- report=round:--quiet quiet= "},
        {{"-t", "--quiet", "-t", "--", "-t", "-h", "-t", ""},
         "text=--quiet text=-- text=-h text= "},
    };
    for (const auto& [words, result] : readings) {
        EXPECT_EQ(result, problemOf(kStrict, words).substr(8)) << testing::PrintToString(words);
        EXPECT_EQ(result, readAs(kRunner, words)) << testing::PrintToString(words);
    }
}

TEST(OptionsTest, SayWhatWouldBeRight) {
    const char* const number = "--ports needs a number from 2 to 30";
    const char* const shape = "--shape needs 'round' or 'square'";
    const char* const file = "--file needs the name of a file";
    const char* const report = "--report needs 'round' or 'flat', and the name of a file";
    const Reading readings[] = {
        {{"--ports"}, number},
        {{"-p"}, number},
        {{"--ports="}, number},
        {{"--ports", ""}, number},
        {{"--ports", "1"}, number},
        {{"--ports", "31"}, number},
        {{"--ports", "4294967300"}, number},
        {{"--ports", "0x4"}, number},
        {{"--ports", "4 "}, number},
        {{"--ports", "-4"}, number},
        {{"--ports", "4.0"}, number},
        {{"--ports", "--quiet"}, number},
        {{"--ports", "2", "--ports", "1"}, number},
        {{"--ports", "2", "-p", "2"}, "--ports may be given once"},
        {{"--shape", "Round"}, shape},
        {{"--shape", ""}, shape},
        {{"-f", ""}, file},
        {{"--file="}, file},
        {{"-f"}, file},
        {{"--report"}, report},
        {{"--report", "flat"}, report},
        {{"--report=flat"}, report},
        {{"--report", "flat", ""}, report},
        {{"--report", "flat:x", "y"}, report},
        {{"--text="}, "--text needs a text"},
        {{"-t"}, "--text needs a text"},
        {{"--quiet=5"}, "--quiet takes no value"},
        {{"--quiet="}, "--quiet takes no value"},
        {{"--help=5"}, "--help takes no value"},
    };
    for (const auto& [words, result] : readings) {
        EXPECT_EQ(result, problemOf(kStrict, words)) << testing::PrintToString(words);
        EXPECT_EQ(result, problemOf(kRunner, words)) << testing::PrintToString(words);
    }
}

TEST(OptionsTest, ThatAreNoneAreNamedAsTheyWereWritten) {
    for (const char* word : {"--frob", "--frob=5", "--port", "--por=5", "--shap", "-x", "-xq",
                             "-lab", "-1", "-=", "---", "--=", "--QUIET", "--f", "--quie=5"}) {
        const std::string end = std::string(word) + "; 'thing --help' lists them";
        EXPECT_EQ("there is no option " + end, problemOf(kStrict, {"-q", word, "--ports"}));
        EXPECT_EQ("there is no option " + end, problemOf(kStrict, {"-q", word}));
    }
    EXPECT_EQ("there is no option -qx; 'runner --help' lists them",
              problemOf(kRunner, {"-qx", "-q"}));
}

TEST(OptionsTest, WordsAreRefusedOrTheCommandToRun) {
    for (const char* word : {"go", "-", "", "/go"}) {
        const std::string expected =
            std::string("'") + word + "' is not an option; words go behind -t";
        EXPECT_EQ(expected, problemOf(kStrict, {"-q", word, "--frob"}));
        EXPECT_EQ(expected, problemOf(kStrict, {"--", word, "--frob"}));
        const std::string command = std::string("quiet= [") + word + "][--frob][-h][--]";
        EXPECT_EQ(command, readAs(kRunner, {"-q", word, "--frob", "-h", "--"}));
        EXPECT_EQ(command, readAs(kRunner, {"-q", "--", word, "--frob", "-h", "--"}));
    }
    EXPECT_EQ("'--quiet' is not an option; words go behind -t",
              problemOf(kStrict, {"--", "--quiet"}));
}

TEST(OptionsTest, NothingBehindTheHelpCounts) {
    EXPECT_EQ("quiet= help= ", readAs(kStrict, {"-q", "--help", "--frob", "word"}));
    EXPECT_EQ("help= ", readAs(kStrict, {"-hx"}));
    EXPECT_EQ("there is no option --frob; 'thing --help' lists them",
              problemOf(kStrict, {"--frob", "--help"}));
}

// A library that reads options of its own does so in a program that has a command line to read.
TEST(OptionsTest, LeaveTheCLibrarysReadingAlone) {
    char program[] = "other", flag[] = "-q", end[] = "word";
    char* const argv[] = {program, flag, end, nullptr};
    ASSERT_EQ('q', getopt(3, argv, "q"));
    const int before = optind;
    EXPECT_EQ("quiet= quiet= [x][-q]", readAs(kRunner, {"-q", "-q", "x", "-q"}));
    EXPECT_EQ(before, optind);
    EXPECT_EQ(-1, getopt(3, argv, "q"));
    EXPECT_EQ(2, optind);
}

TEST(OptionsTest, AreFoundByName) {
    const GivenOptions given = read(kStrict, {"-p", "12", "-t", "a", "-t", "b"});
    EXPECT_TRUE(given.has("ports"));
    EXPECT_FALSE(given.has("quiet"));
    EXPECT_EQ(12u, given.number("ports", 5));
    EXPECT_EQ(5u, given.number("shape", 5));
    EXPECT_EQ("a", given.text("text", "otherwise"));
    EXPECT_EQ("otherwise", given.text("file", "otherwise"));
    EXPECT_EQ("", given.text("file"));
}

TEST(OptionsTest, HelpIsAlignedAndFitsTheScreen) {
    const Option options[] = {
        {.name = "help", .letter = 'h', .help = "Print this help and exit", .takes = Takes::End},
        {.name = "long-name", .value = "VALUE", .help = "Short", .takes = Takes::Text},
        {.name = "fits", .help = "Fifty-five characters stand in this text, and they fit."},
        {.name = "wraps", .help = "Fifty-six characters stand in this text; they don't fit."},
        {.name = "three",
         .help = "Fifty-six characters stand in this text; they don't fit. "
                 "Fifty-six characters stand in this text; they don't fit."},
    };
    Program program = kStrict;
    program.options = options;
    EXPECT_EQ(
        "thing: does things.\n\nusage: thing [options]\n\n"
        "  -h, --help             Print this help and exit\n"
        "      --long-name VALUE  Short\n"
        "      --fits             Fifty-five characters stand in this text, and they fit.\n"
        "      --wraps            Fifty-six characters stand in this text; they don't\n"
        "                         fit.\n"
        "      --three            Fifty-six characters stand in this text; they don't\n"
        "                         fit. Fifty-six characters stand in this text; they\n"
        "                         don't fit.\n",
        helpText(program));
}

constexpr ProgramCommand kCommands[] = {{"sort", "FILE", "Put it in order"},
                                        {"NAME|PID", "WORD...", "Say \"hello\""}};

TEST(OptionsTest, HelpListsCommands) {
    const Option options[] = {{.name = "quiet", .letter = 'q', .help = "Say nothing"}};
    Program program = kStrict;
    program.options = options;
    program.commands = kCommands;
    EXPECT_EQ(
        "thing: does things.\n\nusage: thing [options]\n\n"
        "  -q, --quiet  Say nothing\n"
        "\nor: thing COMMAND [--help]\n\n"
        "  sort FILE                          Put it in order\n"
        "  NAME|PID WORD...                   Say \"hello\"\n",
        helpText(program));
}

TEST(OptionsTest, TheTableIsThereForPrograms) {
    const Option options[] = {
        {.name = "shape",
         .letter = 's',
         .value = "S",
         .help = "\"Round\"",
         .takes = Takes::Choice,
         .choices = {"x"}},
        {.name = "quiet"},
    };
    Program program = kStrict;
    program.options = options;
    program.commands = kCommands;
    const std::string json = helpJson(program);
    EXPECT_EQ(
        R"({
  "name": "thing",
  "about": "thing: does things.",
  "usage": "[options]",
  "options": [
    {"name": "shape", "letter": "s", "value": "S", "help": "\"Round\"", "takes": "choice", "choices": ["x"]},
    {"name": "quiet", "letter": "", "value": "", "help": "", "takes": "nothing", "choices": []}],
  "commands": [
    {"name": "sort", "usage": "FILE", "help": "Put it in order"},
    {"name": "NAME|PID", "usage": "WORD...", "help": "Say \"hello\""}]
}
)",
        json);
    setenv("PCSIM_HELP", "json", 1);
    EXPECT_EQ(json, helpText(program));
    setenv("PCSIM_HELP", "text", 1);
    EXPECT_NE(json, helpText(program));
    unsetenv("PCSIM_HELP");
}

}  // namespace
