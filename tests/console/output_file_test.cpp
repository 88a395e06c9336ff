// A file that is written whole or not at all: what is seen of it meanwhile, and what is left when
// it can't be completed.
#include "console/output_file.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <set>

#include "console/error.h"

namespace {

using namespace pcsim;

struct OutputFileTest : testing::Test {
    std::string folder = testing::TempDir() + "output_file_test.XXXXXX";
    std::string file;

    OutputFileTest() {
        EXPECT_NE(mkdtemp(folder.data()), nullptr);
        file = folder + "/file";
    }
    ~OutputFileTest() override { std::filesystem::remove_all(folder); }

    std::set<std::string> names() const {
        std::set<std::string> found;
        for (const auto& each : std::filesystem::directory_iterator(folder))
            found.insert(each.path().filename());
        return found;
    }
    static std::string content(const std::string& path) {
        std::ifstream in(path);
        return {std::istreambuf_iterator<char>(in), {}};
    }
    void make(const std::string& text) const { std::ofstream(file) << text; }
    // Files without a name are what most file systems have.
    bool hasNamelessFiles() const {
        const int made = open(folder.c_str(), O_TMPFILE | O_RDWR, 0600);
        if (made >= 0) close(made);
        return made >= 0;
    }
    // How a process that runs this has ended.
    static int elsewhere(const std::function<int()>& run) {
        const pid_t child = fork();
        if (child == 0) _exit(run());
        int status = 0;
        waitpid(child, &status, 0);
        return status;
    }
    static std::string problem(const std::function<void()>& run) {
        try {
            run();
        } catch (const CommandError& error) {
            return error.what();
        }
        return "";
    }
};

const std::string kMuch(200000, 'x');

TEST_F(OutputFileTest, TakesThePlaceOfTheFormerWhenItIsKept) {
    make("former");
    ASSERT_EQ(chmod(file.c_str(), 0640), 0);
    OutputFile out(file);
    out.write(kMuch);
    EXPECT_EQ(content(file), "former");
    out.keep();
    EXPECT_EQ(content(file), kMuch);
    struct stat status {};
    ASSERT_EQ(stat(file.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0640u);
    EXPECT_EQ(names(), std::set<std::string>{"file"});
}

TEST_F(OutputFileTest, IsThereWhereNoneWas) {
    {
        OutputFile out(file);
        out.write("first");
        out.keep();
    }
    EXPECT_EQ(content(file), "first");
    EXPECT_EQ(names(), std::set<std::string>{"file"});
}

TEST_F(OutputFileTest, IsGoneUnlessItIsKept) {
    make("former");
    {
        OutputFile out(file);
        out.write(kMuch);
    }
    EXPECT_EQ(content(file), "former");
    EXPECT_EQ(names(), std::set<std::string>{"file"});
}

TEST_F(OutputFileTest, AKilledProcessLeavesTheFormerAndNothingElse) {
    make("former");
    const int status = elsewhere([&] {
        OutputFile out(file), packed(file + ".gz");
        out.write(kMuch);
        packed.write(kMuch);
        return raise(SIGKILL);
    });
    ASSERT_TRUE(WIFSIGNALED(status));
    EXPECT_EQ(content(file), "former");
    if (hasNamelessFiles()) {
        EXPECT_EQ(names(), std::set<std::string>{"file"});
    }
}

TEST_F(OutputFileTest, WhatAKilledProcessHasLeftOnTheLastStepGoes) {
    make("former");
    std::ofstream(file + ".pcsim-new-1") << "left";
    std::ofstream(file + ".pcsim-new-2") << "another process is on it";
    const int held = open((file + ".pcsim-new-2").c_str(), O_RDONLY);
    ASSERT_EQ(flock(held, LOCK_EX), 0);
    OutputFile out(file);
    out.write("new");
    out.keep();
    EXPECT_EQ(content(file), "new");
    EXPECT_EQ(names(), (std::set<std::string>{"file", "file.pcsim-new-2"}));
    const int replaced = open(file.c_str(), O_RDONLY);
    EXPECT_EQ(flock(replaced, LOCK_EX | LOCK_NB), 0) << "the file itself is nobody's";
    close(replaced);
    close(held);
}

TEST_F(OutputFileTest, NamesThatAreTakenAreLeftAlone) {
    make("former");
    std::filesystem::create_directory(file + ".pcsim-new-1");
    std::filesystem::create_symlink("file", file + ".pcsim-new-2");
    OutputFile out(file);
    out.write("new");
    out.keep();
    EXPECT_EQ(content(file), "new");
    EXPECT_EQ(names(), (std::set<std::string>{"file", "file.pcsim-new-1", "file.pcsim-new-2"}));
}

TEST_F(OutputFileTest, AFullDiskLeavesTheFormerAndIsTold) {
    make("former");
    const int status = elsewhere([&] {
        signal(SIGXFSZ, SIG_IGN);
        const rlimit limit{1000, 1000};
        setrlimit(RLIMIT_FSIZE, &limit);
        const std::string said = problem([&] {
            OutputFile out(file, "report");
            out.write(std::string(1001, 'x'));
            out.keep();
        });
        return said == "report " + file + " can't be written: File too large" ? 0 : 1;
    });
    EXPECT_EQ(status, 0);
    EXPECT_EQ(content(file), "former");
    EXPECT_EQ(names(), std::set<std::string>{"file"});
}

TEST_F(OutputFileTest, TwoAtOnceAreEachWhole) {
    make("former");
    OutputFile one(file), two(file);
    one.write("one");
    two.write("two");
    two.keep();
    EXPECT_EQ(content(file), "two");
    one.keep();
    EXPECT_EQ(content(file), "one");
    EXPECT_EQ(names(), std::set<std::string>{"file"});
}

TEST_F(OutputFileTest, GoesWhereALinkLeadsTo) {
    make("former");
    ASSERT_EQ(symlink("file", (folder + "/link").c_str()), 0);
    OutputFile out(folder + "/link");
    out.write("new");
    out.keep();
    EXPECT_EQ(content(file), "new");
    EXPECT_TRUE(std::filesystem::is_symlink(folder + "/link"));
}

TEST_F(OutputFileTest, TellsWhatCannotBeReplaced) {
    EXPECT_EQ(
        problem([&] { OutputFile{folder}; }),
        "file " + folder + " can't be written: it is a directory; expected the name of a file");
    EXPECT_EQ(
        problem([] { OutputFile{"/dev/full"}; }),
        "file /dev/full can't be written: it is no regular file; expected the name of a file");
    EXPECT_EQ(problem([&] { OutputFile{folder + "/no/file"}; }),
              "file " + folder + "/no/file can't be written: No such file or directory");
    EXPECT_FALSE(isReplaceable("/dev/full"));
    EXPECT_TRUE(isReplaceable(file));
}

}  // namespace
