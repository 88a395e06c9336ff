// Long random runs against a naive model: maps of lists and instances.
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <random>
#include <set>

#include "platform/acl/memberIndex.h"
#include "tests/platform/acl/fixture.h"
#include "tests/support/seed.h"

namespace {

using namespace pcsim;
using namespace pcsim::test;

// A counter is whatever the test has written last: 0 or a fill byte.
struct ModelList {
    std::string name;
    uint16_t counters;
    std::string rule;
    bool grewLong = false;  // since it was last empty, so that it may have an index
};

struct ModelBinding {
    std::shared_ptr<ModelList> list;
    std::vector<uint8_t> counters;
};

using Place = std::tuple<uint32_t, uint32_t, uint8_t>;

class AclModel : public testing::Test {
protected:
    std::map<std::string, std::shared_ptr<ModelList>> lists;
    std::map<Place, ModelBinding[2]> places;
    std::mt19937 random;
    uint32_t vlans = 4;

    uint32_t pick(uint32_t count) { return random() % count; }

    uint32_t boundTo(const ModelList* list) const {
        uint32_t count = 0;
        for (const auto& [unused, slots] : places)
            for (const ModelBinding& binding : slots) count += binding.list.get() == list;
        return count;
    }

    void bindPlace(const Place& place, uint8_t slot, const std::shared_ptr<ModelList>& list) {
        const uint32_t bound = boundTo(list.get());
        if (bound == 0) list->grewLong = false;
        ModelBinding& binding = places[place][slot];
        if (binding.list != list && bound >= kWalkedBindings) list->grewLong = true;
        binding.list = list;
        binding.counters.assign(list->counters, 0);
    }

    // The most that the indexes of all lists may have in memory: themselves and an entry each.
    int32_t indexBlocks() const {
        std::set<ModelList*> seen;
        uint32_t count = 0;
        for (const auto& [unused, slots] : places)
            for (const ModelBinding& binding : slots)
                if (binding.list != nullptr && binding.list->grewLong)
                    count += 1 + seen.insert(binding.list.get()).second;
        return static_cast<int32_t>(count);
    }

    void release(const Place& place) {
        const auto& slots = places[place];
        if (slots[0].list == nullptr && slots[1].list == nullptr) places.erase(place);
    }

    void step() {
        static const char* const kNames[] = {"web", "mail", "voice", "b", "unknown"};
        const std::string name = kNames[pick(5)];
        const Where where{pick(vlans), pick(3), static_cast<uint8_t>(pick(2)),
                          static_cast<uint8_t>(pick(2))};
        const Place place{where.vlan, where.port, where.key};
        const auto counters = static_cast<uint16_t>(pick(4));
        const uint32_t operation = pick(100);
        if (operation < 10) {
            const std::string rule = "rule" + std::to_string(pick(1000));
            if (name != "unknown") {
                ASSERT_EQ(addList(name.c_str(), counters, {{rule}}), 0);
                lists.try_emplace(name,
                                  std::make_shared<ModelList>(ModelList{name, counters, rule}));
            }
        } else if (operation < 15) {
            ASSERT_EQ(deleteList(name.c_str()), 0);
            lists.erase(name);
        } else if (operation < 23 && lists.count(name) != 0) {
            ModelList* list = lists[name].get();
            list->rule = "rule" + std::to_string(pick(1000));
            ASSERT_EQ(refresh(name.c_str(), counters, {{list->rule}}), 0);
            list->counters = counters;
            for (auto& [unused, slots] : places)
                for (ModelBinding& binding : slots)
                    if (binding.list.get() == list) binding.counters.assign(counters, 0);
        } else if (operation < 60) {
            const bool known = lists.count(name) != 0;
            ASSERT_EQ(bind(name.c_str(), where), known ? 0 : -1);
            if (known) bindPlace(place, where.slot, lists[name]);
        } else if (operation < 85) {
            ASSERT_EQ(unbind(where), 0);
            if (places.count(place) != 0) {
                places[place][where.slot] = {};
                release(place);
            }
        } else {
            touchCounters(where, place);
        }
    }

    // Fills a binding's counters or clears some of them.
    void touchCounters(const Where& where, const Place& place) {
        const std::vector<uint16_t> numbers(1, static_cast<uint16_t>(pick(6)));
        const auto found = places.find(place);
        ModelBinding* binding = found != places.end() ? &found->second[where.slot] : nullptr;
        if (pick(2) == 0) {
            ASSERT_EQ(clearCounters(where, numbers), 0);
            if (binding == nullptr) return;
            for (size_t i = 0; i < binding->counters.size(); ++i)
                if (numbers[0] == 0 || numbers[0] == i + 1) binding->counters[i] = 0;
        } else if (binding != nullptr && !binding->counters.empty()) {
            const auto byte = static_cast<uint8_t>(1 + pick(255));
            std::memset(instance(where)->counters[where.slot], byte, binding->counters.size() * 16);
            std::fill(binding->counters.begin(), binding->counters.end(), byte);
        }
    }

    static std::string text(const Place& place) {
        return std::to_string(std::get<0>(place)) + "/" + std::to_string(std::get<1>(place)) + "/" +
               std::to_string(std::get<2>(place));
    }

    void compare() {
        Lines names, expectedInstances;
        for (const auto& [name, list] : lists) {
            names.push_back(name);
            const AclList* real = storedList(name.c_str());
            ASSERT_NE(real, nullptr);
            ASSERT_EQ(real->counterCount, list->counters);
            ASSERT_EQ(real->rules->name, list->rule);
            compareMembers(list);
        }
        ASSERT_EQ(listNames(), names);
        std::set<ModelList*> deleted;
        int32_t expectedBlocks = static_cast<int32_t>(2 * lists.size());
        for (const auto& [place, slots] : places) {
            expectedInstances.push_back(text(place));
            ++expectedBlocks;
            for (uint32_t slot = 0; slot < 2; ++slot) {
                const ModelBinding& binding = slots[slot];
                compareBinding(place, slot, binding);
                if (binding.list == nullptr) continue;
                expectedBlocks += binding.counters.empty() ? 0 : 1;
                const auto stored = lists.find(binding.list->name);
                if (stored == lists.end() || stored->second != binding.list)
                    deleted.insert(binding.list.get());
            }
        }
        ASSERT_EQ(instances(), expectedInstances);
        expectedBlocks += static_cast<int32_t>(deleted.size());
        ASSERT_GE(blocks(), expectedBlocks);
        ASSERT_LE(blocks(), expectedBlocks + indexBlocks());
    }

    void compareMembers(const std::shared_ptr<ModelList>& list) {
        uint32_t bound = 0;
        for (uint32_t slot = 0; slot < 2; ++slot) {
            Lines expected;
            for (const auto& [place, slots] : places)
                if (slots[slot].list == list) expected.push_back(text(place));
            ASSERT_EQ(members(storedList(list->name.c_str()), slot), expected);
            bound += static_cast<uint32_t>(expected.size());
        }
        ASSERT_EQ(storedList(list->name.c_str())->boundCount, bound);
    }

    static void compareBinding(const Place& place, uint32_t slot, const ModelBinding& binding) {
        const AclInstance* real =
            instance({std::get<0>(place), std::get<1>(place), std::get<2>(place)});
        ASSERT_NE(real, nullptr);
        ASSERT_EQ(real->lists[slot] != nullptr, binding.list != nullptr);
        if (binding.list == nullptr) return;
        ASSERT_EQ(real->lists[slot]->name, binding.list->name);
        ASSERT_EQ(real->counters[slot] != nullptr, !binding.counters.empty());
        for (size_t i = 0; i < binding.counters.size(); ++i)
            for (size_t byte = 0; byte < 16; ++byte)
                ASSERT_EQ(real->counters[slot][i * 16 + byte], binding.counters[i]);
    }

    void run(int steps, int compareEvery) {
        const uint32_t seed = modelSeed();
        random.seed(seed);
        for (int i = 0; i < steps && !HasFatalFailure(); ++i) {
            SCOPED_TRACE("seed " + std::to_string(seed) + ", step " + std::to_string(i));
            step();
            if (i % compareEvery == 0) compare();
        }
        compare();
        while (!places.empty()) {
            const Place place = places.begin()->first;
            for (uint8_t slot : {0, 1})
                unbind({std::get<0>(place), std::get<1>(place), std::get<2>(place), slot});
            places.erase(place);
        }
        for (const auto& [name, list] : lists) deleteList(name.c_str());
        EXPECT_EQ(blocks(), 0);
    }
};

TEST_F(AclModel, RandomOperationsMatchANaiveModel) {
    run(40000, 8);
}

TEST_F(AclModel, RandomOperationsOnLongListsMatchANaiveModel) {
    vlans = 60;
    run(20000, 200);
}

}  // namespace
