// What started the probe leaves the environment, and nothing else does.
#include "probe/preload/environment.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace pcsim::probe {
namespace {

using Texts = std::vector<std::string>;

// The block of variables of a program.
class Block {
public:
    explicit Block(Texts variables) : texts_(std::move(variables)) {
        for (std::string& text : texts_) pointers_.push_back(text.data());
        pointers_.push_back(nullptr);
    }
    char** get() { return pointers_.data(); }
    Texts texts() const {
        Texts left;
        for (char* const* at = pointers_.data(); *at != nullptr; ++at) left.emplace_back(*at);
        return left;
    }

private:
    Texts texts_;
    std::vector<char*> pointers_;
};

constexpr const char* kProbe = "libpcsim-probe.so.0";

Texts left(Texts variables) {
    Block block(std::move(variables));
    leavePreload(block.get(), kProbe);
    return block.texts();
}

TEST(Environment, LosesThePreloadOfTheProbeAlone) {
    EXPECT_EQ(left({"A=1", "LD_PRELOAD=/lib/libpcsim-probe.so.0", "B=2"}), (Texts{"A=1", "B=2"}));
    EXPECT_EQ(left({"LD_PRELOAD=libpcsim-probe.so.0"}), Texts{});
    EXPECT_EQ(left({"LD_PRELOAD=libpcsim-probe.so.0:a.so"}), Texts{"LD_PRELOAD=a.so"});
    EXPECT_EQ(left({"LD_PRELOAD=a.so:x/libpcsim-probe.so.0"}), Texts{"LD_PRELOAD=a.so"});
    EXPECT_EQ(left({"LD_PRELOAD=a.so x/libpcsim-probe.so.0:b.so"}), Texts{"LD_PRELOAD=a.so b.so"});
    EXPECT_EQ(left({"LD_PRELOAD=p/libpcsim-probe.so.0:q/libpcsim-probe.so.0"}), Texts{});
}

TEST(Environment, KeepsWhatOnlyLooksLikeIt) {
    const Texts others[] = {{"A=1"},
                            {},
                            {"LD_PRELOAD=a.so:b.so"},
                            {"LD_PRELOAD=mylibpcsim-probe.so.0"},
                            {"LD_PRELOAD=libpcsim-probe.so.0.1"},
                            {"XLD_PRELOAD=libpcsim-probe.so.0"},
                            {"LD_PRELOAD_32=libpcsim-probe.so.0"}};
    for (const Texts& variables : others) EXPECT_EQ(left(variables), variables);
}

TEST(Environment, GivesUpAVariable) {
    Block block({"A=1", "PCSIM_PROBE=--name=sw 1", "PCSIM_PROBES=2"});
    EXPECT_STREQ(takeVariable(block.get(), "PCSIM_PROBE"), "--name=sw 1");
    EXPECT_EQ(block.texts(), (Texts{"A=1", "PCSIM_PROBES=2"}));
    EXPECT_STREQ(takeVariable(block.get(), "PCSIM_PROBE"), "");
    EXPECT_EQ(block.texts(), (Texts{"A=1", "PCSIM_PROBES=2"}));
}

}  // namespace
}  // namespace pcsim::probe
