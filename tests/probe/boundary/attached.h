// The library of the test, taken under the boundary; and an observer that notes what it sees.
#ifndef PCSIM_TESTS_PROBE_BOUNDARY_ATTACHED_H
#define PCSIM_TESTS_PROBE_BOUNDARY_ATTACHED_H

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "pcsim/system.h"
#include "probe/boundary/boundary.h"

namespace pcsim::probe {

inline void* libraryHandle() {
    return dlopen("libpcsimulation.so.0", RTLD_LAZY | RTLD_NOLOAD);
}

// Looked up as a host under the boundary does.
template <typename Function>
Function* lookUp(const char* name) {
    void* const found = dlsym(libraryHandle(), name);
    return reinterpret_cast<Function*>(Boundary::instance().looksUp(name, found));
}

class Attached : public testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(boundary.attach(libraryHandle())); }

    // The system table, with a stub in each word.
    HalSystemOps system() {
        HalSystemOps table{};
        EXPECT_EQ(lookUp<HalPlatformSystemInitFn>("platformSystemInit")(&table), 0);
        return table;
    }
    Counts& counts(const char* name) {
        Site* const site = boundary.siteNamed(name);
        EXPECT_NE(site, nullptr) << name;
        static Counts none{};
        return site == nullptr ? none : *site->counts;
    }

    Boundary& boundary = Boundary::instance();
};

// Notes "name/depth" before a call and "/name" after it.
class Notes : public Observer {
public:
    explicit Notes(std::function<bool(const Site&)> wanted) : wanted_(std::move(wanted)) {}
    ~Notes() override { Boundary::instance().remove(*this); }

    bool wants(const Site& site) const override { return wanted_(site); }
    void before(Call& call) override {
        lines.push_back(call.site.name + "/" + std::to_string(call.depth));
        if (onBefore) onBefore(call);
    }
    void after(Call& call) override {
        lines.push_back("/" + call.site.name);
        if (onAfter) onAfter(call);
    }

    std::vector<std::string> lines;
    std::function<void(Call&)> onBefore, onAfter;

private:
    std::function<bool(const Site&)> wanted_;
};

inline auto named(std::string name) {
    return [name = std::move(name)](const Site& site) { return site.name == name; };
}
inline auto everything() {
    return [](const Site&) { return true; };
}

}  // namespace pcsim::probe

#endif
