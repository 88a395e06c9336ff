// What may stand in 'expect' and 'wait', and behind 'help': for completion and for '?'.
#include <algorithm>

#include "console/console.h"
#include "console/relation.h"

namespace pcsim {

namespace {

constexpr size_t kMostPaths = 500;

void offer(Offers& offers, const char* word, const char* help) {
    offers.offers.push_back({word, help});
}

// The values that the report of a command has. Only what begins with 'show' may be asked without a
// change: others answer with a report of what they did.
Words pathsOf(const Console& console, const Words& words) {
    try {
        Verbs::Found found = console.verbs.find(words);
        if (!found.verb->show || found.words.front() != "show") return {};
        Call call(std::move(found.values));
        return found.verb->show(call).paths(kMostPaths);
    } catch (const CommandError&) {
        return {};
    }
}

// Behind the dashes: a value, a relation, a text, and what joins demands.
Offers offersOfDemand(const Console& console, const Words& show, const Words& demand) {
    Offers offers;
    const auto isJoint = [](const std::string& word) { return word == "and" || word == "or"; };
    const auto joint = std::find_if(demand.rbegin(), demand.rend(), isJoint);
    switch (joint - demand.rbegin()) {
        case 0:
            for (std::string& path : pathsOf(console, show))
                offers.offers.push_back({std::move(path), ""});
            if (offers.offers.empty()) offer(offers, "<value>", "a value of the report");
            break;
        case 1:
            for (const std::string& name : Relation::names()) offers.offers.push_back({name, ""});
            if (*demand.rbegin() == "count" || demand.rbegin()->ends_with(".count"))
                offer(offers, "where", "only rows that are so");
            break;
        case 2:
            offer(offers, "<text>", "what it is held against");
            break;
        default:
            offers.complete = "demand it";
            offer(offers, "and", "demand more");
            offer(offers, "or", "let something else do");
            offer(offers, "within", "of 'wait': in so many ms");
    }
    return offers;
}

Offers offersOfWait(Console& console, const Words& words) {
    const auto dashes = std::find(words.begin(), words.end(), "--");
    if (dashes != words.end())
        return offersOfDemand(console, {words.begin(), dashes}, {dashes + 1, words.end()});
    Offers offers;
    if (!words.empty() && words.front() == "event") {
        offer(offers, "<text>", "a part of an event");
        return offers;
    }
    if (words == Words{"no"}) {
        offer(offers, "event", "that none such was seen");
        return offers;
    }
    offers = offersBehind(console, words);
    if (words.empty()) {
        std::erase_if(offers.offers, [](const Offer& one) { return one.word != "show"; });
        offer(offers, "event", "that an event was seen");
        offer(offers, "no", "that none was");
    } else if (!offers.complete.empty()) {
        offer(offers, "--", "and a value of the answer");
    }
    offers.complete.clear();
    return offers;
}

Offers offersOfHelp(Console& console, const Words& words) {
    Offers offers = offersBehind(console, words);
    std::erase_if(offers.offers, [](const Offer& one) { return !one.values.empty(); });
    offers.complete = "those that begin so";
    return offers;
}

}  // namespace

void addContinuations(Console& console) {
    console.continuations["<what...>"] = [&console](const Words& words) {
        return offersOfWait(console, words);
    };
    console.continuations["<verb...>"] = [&console](const Words& words) {
        return offersOfHelp(console, words);
    };
}

}  // namespace pcsim
