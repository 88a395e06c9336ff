// The prompt on readline.
#include "console/prompt.h"

#include <readline/readline.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>

#include "console/error.h"
#include "console/present.h"
#include "console/text.h"

namespace pcsim {

// Readline calls back without a context: the prompt there is, and what it completes.
struct PromptCallbacks {
    static Prompt* prompt;
    static std::vector<std::string> candidates;

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
        PromptDoor::Completion completion =
            prompt->door_.complete(std::string(rl_line_buffer, static_cast<size_t>(start)));
        rl_attempted_completion_over = completion.files ? 0 : 1;
        candidates = std::move(completion.candidates);
        return rl_completion_matches(text, generate);
    }

    static void line(char* text) { prompt->lineEntered(text); }

    static int question(int count, int key) {
        return prompt->questionAsked() ? 0 : rl_insert(count, key);
    }
};

Prompt* PromptCallbacks::prompt = nullptr;
std::vector<std::string> PromptCallbacks::candidates;

Prompt::Prompt(Surroundings& surroundings, Output& output, TextSink& sink, PromptDoor& door)
    : surroundings_(surroundings),
      output_(output),
      sink_(sink),
      door_(door),
      pager_(surroundings, output) {
    PromptCallbacks::prompt = this;
}

Prompt::~Prompt() {
    PromptCallbacks::prompt = nullptr;
}

std::string Prompt::problemText(const CommandError& error) const {
    const std::string text = wrappedFor(output_.descriptor(), "error: " + printable(error.what()));
    return sink_.page().coloured ? coloured(Mood::kBad, text) : text;
}

void Prompt::lineEntered(char* text) {
    if (text == nullptr) {
        sink_.text("\n");
        ended_ = true;
        end();
        return;
    }
    const std::string line = text;
    std::free(text);
    history_->add(line);
    typing_ = false;
    try {
        door_.run(line);
    } catch (const CommandError& error) {
        surroundings_.forgetInterrupt();  // it has ended the command
        sink_.text(problemText(error) + "\n");
    } catch (const OutputError&) {
        // The prompt ends with it.
    }
    if (door_.ended()) {
        end();
        return;
    }
    rl_set_prompt(door_.promptText().c_str());
    typing_ = true;
}

// Tells what may follow the line up to the cursor, and goes on with it.
bool Prompt::questionAsked() {
    std::optional<std::string> told;
    try {
        told = door_.following(std::string(rl_line_buffer, static_cast<size_t>(rl_point)),
                               sink_.width());
    } catch (const CommandError& error) {
        told = problemText(error) + "\n";
    }
    if (!told) return false;
    const int point = rl_point;
    rl_point = rl_end;
    rl_redisplay();
    rl_crlf();
    rl_point = point;
    sink_.text(*told);
    rl_on_new_line();
    rl_redisplay();
    return true;
}

// Ctrl-C while nothing runs drops the line that is being typed.
void Prompt::interrupted() {
    surroundings_.forgetInterrupt();
    const bool typed = rl_end != 0;
    door_.drop();
    rl_free_line_state();
    rl_callback_sigcleanup();
    rl_point = rl_end;
    rl_redisplay();
    rl_crlf();
    rl_replace_line("", 1);
    if (!typed) sink_.text("'quit' or Ctrl-D ends\n");
    rl_set_prompt(door_.promptText().c_str());
    rl_on_new_line();
    rl_redisplay();
}

void Prompt::begin() {
    rl_readline_name = "pcsim";
    rl_catch_signals = 0;  // they are the loop's
    rl_outstream = output_.file();
    rl_attempted_completion_function = PromptCallbacks::complete;
    rl_completer_word_break_characters = const_cast<char*>(" \t");
    rl_bind_key('?', PromptCallbacks::question);
    history_.emplace();
    rl_callback_handler_install(door_.promptText().c_str(), PromptCallbacks::line);
    typing_ = true;
    // An event that happens while somebody types goes above the line being typed.
    sink_.beforeEvent = [this] {
        if (typing_) rl_clear_visible_line();
    };
    sink_.afterEvent = [this] {
        if (typing_) rl_forced_update_display();
    };
    sink_.pager = [this](const std::string& text) { return !typing_ && pager_.show(text); };
    surroundings_.onContinue = [this] {
        if (!typing_) return;
        rl_deprep_terminal();
        rl_prep_terminal(1);
        rl_forced_update_display();
    };
    surroundings_.forgetInterrupt();
}

// A handler that is still there when a line has ended the session shows one more prompt behind it.
void Prompt::end() {
    surroundings_.onContinue = nullptr;
    sink_.beforeEvent = sink_.afterEvent = nullptr;
    sink_.pager = nullptr;
    typing_ = false;
    rl_callback_handler_remove();
}

void Prompt::run() {
    begin();
    while (!ended_ && !door_.ended() && !output_.failed() && !surroundings_.terminated()) {
        if (surroundings_.waitReadable(STDIN_FILENO))
            rl_callback_read_char();
        else if (!surroundings_.terminated())
            interrupted();
    }
    end();
    surroundings_.checkInterrupt();
}

}  // namespace pcsim
