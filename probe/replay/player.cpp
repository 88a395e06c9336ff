// The recording from its beginning to its end.
#include "probe/replay/player.h"

#include <dlfcn.h>
#include <fmt/core.h>

#include <cstring>

#include "console/error.h"
#include "pcsim/ems.h"
#include "pcsim/host.h"
#include "probe/boundary/boundary.h"
#include "probe/replay/thunks.h"

// What the library finds of the HAL's variables.
extern "C" {
uint32_t poeHandle;
HalGlobal gHal;
// Its address is all that is known of it.
uint32_t pcsimReplayTraceDescriptor __asm__("_ems_trace_ComponentDesc");
}

namespace pcsim::probe {

namespace {

Player* playing;

}  // namespace

std::string Difference::text() const {
    return fmt::format("call {} {}, {}: expected {}, seen {}", call, operation, field, expected,
                       seen);
}

std::string ReplayResult::text() const {
    const auto counted = [](size_t count, const char* one) {
        return fmt::format("{} {}{}", count, one, count == 1 ? "" : "s");
    };
    const std::string made = counted(static_cast<size_t>(calls), "call") + ", ";
    return made +
           (differences.empty() ? "no difference" : counted(differences.size(), "difference"));
}

Player::Player(const Recording& recording, const ReplayOptions& options)
    : recording_(recording),
      options_(options),
      returns_(recording.returns()),
      pointers_(recording),
      comparison_(recording, pointers_,
                  [this](const std::string& field, std::string expected, std::string seen) {
                      report(field, std::move(expected), std::move(seen));
                  }),
      used_(recording.events.size()) {
    playing = this;
    setThunkHandler(&Player::called);
}

Player::~Player() {
    Boundary::instance().remove(*this);
    Boundary::instance().provide(nullptr);
    playing = nullptr;
}

uint64_t Player::called(uint32_t thunk, uint32_t* arguments) {
    const Callee callee = playing->pointers_.calleeOf(thunk);
    return playing->answer(callee, arguments);
}

bool Player::isSide(size_t index, Side side) const {
    return event(index).kind == Event::Kind::kCall && siteOf(index).side == side;
}

void Player::report(std::string field, std::string expected, std::string seen) {
    const Event& subject = event(subject_);
    const bool isCall = subject.kind == Event::Kind::kCall;
    result_.differences.push_back({subject.call, isCall ? siteOf(subject_).name : "", field,
                                   std::move(expected), std::move(seen)});
}

void Player::load() {
    Boundary& boundary = Boundary::instance();
    boundary.provide([this](const Site& site) { return provide(site); });
    // As a HAL loads it: what it refers to is looked up when it is called.
    void* const handle = dlopen(options_.library.c_str(), RTLD_LAZY | RTLD_GLOBAL);
    if (handle == nullptr) fail("library {} can't be loaded: {}", options_.library, dlerror());
    if (!boundary.attach(handle))
        fail("{} is no platform library that can be attached", options_.library);
    if (!boundary.add(*this)) fail("there are too many observers");
}

void Player::bindVariables() {
    for (const RecordedSymbol& symbol : recording_.symbols) {
        if (symbol.function) continue;
        void* const here = dlsym(RTLD_DEFAULT, symbol.name.c_str());
        if (here != nullptr)
            pointers_.bindRange(symbol.address, symbol.size, reinterpret_cast<uint32_t>(here),
                                nullptr);
    }
}

void Player::applyState(const Event& state) {
    for (const Variable& variable : variables()) {
        if (variable.name != state.text || state.blocks.empty()) continue;
        const RecordedBlock& block = state.blocks[0];
        const uint32_t place = pointers_.blockAt(block, nullptr);
        if (place == 0) continue;
        auto* const here = reinterpret_cast<uint8_t*>(place);
        if (variable.type->kind == Kind::kPointer) {
            uint32_t word = 0;
            std::memcpy(&word, block.bytes.data(), sizeof word);
            word = pointers_.given(*variable.type, word);
            std::memcpy(here, &word, sizeof word);
        } else {
            std::memcpy(here, block.bytes.data(), block.bytes.size());
        }
    }
    writeBlocks(state);
}

ReplayResult Player::play() {
    load();
    bindVariables();
    for (size_t index = 0; index < recording_.events.size(); ++index) {
        const Event& each = event(index);
        if (each.kind == Event::Kind::kState) applyState(each);
        if (used_[index] || !isSide(index, Side::kPlatform)) continue;
        if (options_.onCall) options_.onCall(each, siteOf(index));
        // The HAL may have left a call by a jump, or ended in it: nobody knows how it went on.
        if (setjmp(left_) == 0) playCall(index);
        frames_.clear();
        ++result_.calls;
        if (!result_.differences.empty() && !options_.keepGoing) break;
    }
    return std::move(result_);
}

ReplayResult replay(const Recording& recording, const ReplayOptions& options) {
    Player player(recording, options);
    return player.play();
}

}  // namespace pcsim::probe
