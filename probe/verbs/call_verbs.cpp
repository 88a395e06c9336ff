// Verbs of calls by hand.
#include <memory>

#include "probe/verbs/caller.h"
#include "probe/verbs/probe_verbs.h"

namespace pcsim::probe {

void addCallVerbs(Verbs& verbs, std::shared_ptr<Callables> callables) {
    const auto caller = std::make_shared<Caller>(std::move(callables));
    verbs.show("call <operation>", "call an operation of the platform's tables, with zeros",
               [caller](pcsim::Call& call) { return caller->call(call.text("operation"), {}); });
    verbs.show("call <operation> <values:rest>", "the same with NAME VALUE..., [in SLOT] [as NAME]",
               [caller](pcsim::Call& call) {
                   return caller->call(call.text("operation"), call.all("values"));
               });
    verbs.show("show operation <operation>", "what an operation takes and answers",
               [caller](pcsim::Call& call) { return caller->about(call.text("operation")); });
    verbs.show("show operations [table <table>]", "all operations of the platform's tables",
               [caller](pcsim::Call& call) {
                   return caller->operations(call.has("table") ? call.text("table") : "");
               });
    verbs.show("show handles", "what calls have handed out, by the names to hand it back under",
               [caller](pcsim::Call&) { return caller->handles(); });
    verbs.action("forget <handle>", "keep no longer what a call has handed out",
                 [caller](pcsim::Call& call) { caller->forget(call.text("handle")); });
}

}  // namespace pcsim::probe
