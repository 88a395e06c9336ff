// The interactive prompt: readline with history and completion, fed by the event loop so that time
// goes on while somebody types.
#include <readline/history.h>
#include <readline/readline.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>

#include "console/present.h"
#include "console/session.h"
#include "console/text.h"

namespace pcsim {

// Readline calls back without a context: the session that has the prompt, and what it completes.
struct Prompt {
    static Session* session;
    static std::vector<std::string> candidates;

    static std::vector<std::string> valuesOf(const std::string& placeholder) {
        const auto known = session->candidates.find(placeholder);
        return known == session->candidates.end() ? std::vector<std::string>() : known->second();
    }

    static char* generate(const char* text, int state) {
        static size_t next;
        if (state == 0) next = 0;
        while (next < candidates.size()) {
            const std::string& candidate = candidates[next++];
            if (candidate.starts_with(text)) return strdup(candidate.c_str());
        }
        return nullptr;
    }

    static char** complete(const char* text, int start, int) {
        rl_attempted_completion_over = 1;
        candidates.clear();
        Words words;
        try {
            words = splitWords(std::string(rl_line_buffer, static_cast<size_t>(start)));
        } catch (const CommandError&) {
            return nullptr;  // inside a quote there is nothing to offer
        }
        for (const std::string& next : session->verbs_.next(words)) {
            if (next == "<file>") rl_attempted_completion_over = 0;
            if (next.front() != '<')
                candidates.push_back(next);
            else
                for (std::string& value : valuesOf(next)) candidates.push_back(std::move(value));
        }
        return rl_completion_matches(text, generate);
    }

    static void line(char* text) { session->lineEntered(text); }
};

Session* Prompt::session = nullptr;
std::vector<std::string> Prompt::candidates;

namespace {

std::string historyPath() {
    const char* home = std::getenv("HOME");
    return home == nullptr ? "" : std::string(home) + "/.pcsim_history";
}

}  // namespace

void Session::lineEntered(char* text) {
    if (text == nullptr) {
        print("\n");
        ended_ = true;
        return;
    }
    const std::string line = text;
    std::free(text);
    if (line.find_first_not_of(" \t") != std::string::npos) add_history(line.c_str());
    prompting_ = false;
    try {
        run(line);
    } catch (const CommandError& error) {
        surroundings_.forgetInterrupt();  // it has ended the command
        print(wrappedFor(fileno(out_), "error: " + printable(error.what())) + "\n");
    } catch (const OutputError&) {
        // The prompt ends with it.
    }
    prompting_ = true;
}

// Ctrl-C while nothing runs drops the line that is being typed.
void Session::interruptedAtPrompt() {
    surroundings_.forgetInterrupt();
    const bool typing = rl_end != 0;
    rl_free_line_state();
    rl_callback_sigcleanup();
    rl_point = rl_end;
    rl_redisplay();
    rl_crlf();
    rl_replace_line("", 1);
    if (!typing) print("'quit' or Ctrl-D ends\n");
    rl_on_new_line();
    rl_redisplay();
}

// An event that happens while somebody types goes above the line being typed.
void Session::printEvent(const Event& event) {
    if (prompting_) rl_clear_visible_line();
    print(formatEvent(event) + "\n");
    if (prompting_) rl_forced_update_display();
}

void Session::prompt() {
    Prompt::session = this;
    rl_readline_name = "pcsim";
    rl_catch_signals = 0;  // they are the loop's
    rl_outstream = out_;
    rl_attempted_completion_function = Prompt::complete;
    rl_completer_word_break_characters = const_cast<char*>(" \t");
    using_history();
    const std::string history = historyPath();
    if (!history.empty()) read_history(history.c_str());
    rl_callback_handler_install("pcsim> ", Prompt::line);
    prompting_ = true;
    surroundings_.onContinue = [this] {
        if (!prompting_) return;
        rl_deprep_terminal();
        rl_prep_terminal(1);
        rl_forced_update_display();
    };
    surroundings_.forgetInterrupt();
    while (!ended_ && outputError_ == 0 && !surroundings_.terminated()) {
        if (surroundings_.waitReadable(STDIN_FILENO))
            rl_callback_read_char();
        else if (!surroundings_.terminated())
            interruptedAtPrompt();
    }
    surroundings_.onContinue = nullptr;
    prompting_ = false;
    rl_callback_handler_remove();
    constexpr int kHistoryLines = 1000;
    stifle_history(kHistoryLines);
    if (!history.empty()) write_history(history.c_str());
    Prompt::session = nullptr;
    surroundings_.checkInterrupt();
}

}  // namespace pcsim
