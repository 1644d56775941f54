#include <histedit.h>

#include <cerrno>
#include <clocale>
#include <csignal>
#include <cstdio>

#include "tools/policyctl/shell/line_source.h"

namespace {

volatile std::sig_atomic_t interrupted = 0;

class EditedLines : public LineSource {
 public:
  EditedLines(const LineHelp& help, const std::vector<std::string>& lines) : _help(help) {
    std::setlocale(LC_CTYPE, "");
    catch_interrupts();
    _history = history_init();
    HistEvent event;
    history(_history, &event, H_SETSIZE, MOST_HISTORY);
    history(_history, &event, H_SETUNIQUE, 1);
    for (const std::string& line : lines) history(_history, &event, H_ENTER, line.c_str());
    _editor = el_init("policyctl", stdin, stdout, stderr);
    el_set(_editor, EL_CLIENTDATA, this);
    el_set(_editor, EL_PROMPT, prompt_of);
    el_set(_editor, EL_EDITOR, "emacs");
    el_set(_editor, EL_HIST, history, _history);
    el_set(_editor, EL_ADDFN, "policyctl-complete", "completes the word", complete);
    el_set(_editor, EL_ADDFN, "policyctl-explain", "tells what may follow", explain);
    el_set(_editor, EL_BIND, "^I", "policyctl-complete", nullptr);
    el_set(_editor, EL_BIND, "?", "policyctl-explain", nullptr);
    el_set(_editor, EL_BIND, "^R", "em-inc-search-prev", nullptr);
    // The person's own bindings come last.
    el_source(_editor, nullptr);
  }
  ~EditedLines() override {
    el_end(_editor);
    history_end(_history);
    sigaction(SIGINT, &_former, nullptr);
  }
  EditedLines(const EditedLines&) = delete;
  EditedLines& operator=(const EditedLines&) = delete;

  std::optional<std::string> next(const std::string& prompt) override {
    _prompt = prompt;
    for (;;) {
      int length = 0;
      interrupted = 0;
      const char* const text = el_gets(_editor, &length);
      if (text != nullptr && length > 0) return take({text, static_cast<std::size_t>(length)});
      if (interrupted == 0) {
        std::fputc('\n', stdout);
        return std::nullopt;
      }
      // Ctrl-C gives the line up.
      std::fputs("^C\n", stdout);
      el_reset(_editor);
    }
  }

 private:
  static constexpr int MOST_HISTORY = 1000;

  void catch_interrupts() {
    struct sigaction action {};
    action.sa_handler = [](int) { interrupted = 1; };
    sigaction(SIGINT, &action, &_former);
  }

  std::string take(std::string line) {
    while (!line.empty() && (line.back() == '\n' || line.back() == '\r')) line.pop_back();
    HistEvent event;
    if (line.find_first_not_of(" \t") != std::string::npos) {
      history(_history, &event, H_ENTER, line.c_str());
    }
    return line;
  }

  static EditedLines* self(EditLine* editor) {
    void* data = nullptr;
    el_get(editor, EL_CLIENTDATA, &data);
    return static_cast<EditedLines*>(data);
  }
  static std::string before_cursor(EditLine* editor) {
    const LineInfo* const line = el_line(editor);
    return {line->buffer, line->cursor};
  }
  static char* prompt_of(EditLine* editor) { return self(editor)->_prompt.data(); }

  static unsigned char show(const std::string& lines) {
    std::fputc('\n', stdout);
    std::fputs(lines.c_str(), stdout);
    std::fflush(stdout);
    return CC_REDISPLAY;
  }

  static unsigned char complete(EditLine* editor, int /*key*/) {
    const LineHelp::Completed completed = self(editor)->_help.complete(before_cursor(editor));
    if (!completed.insert.empty()) {
      el_insertstr(editor, completed.insert.c_str());
      return CC_REFRESH;
    }
    return completed.listing.empty() ? CC_REFRESH_BEEP : show(completed.listing);
  }

  static unsigned char explain(EditLine* editor, int /*key*/) {
    const std::string lines = self(editor)->_help.explain(before_cursor(editor));
    if (!lines.empty()) return show(lines);
    el_insertstr(editor, "?");
    return CC_REFRESH;
  }

  const LineHelp& _help;
  std::string _prompt;
  History* _history = nullptr;
  EditLine* _editor = nullptr;
  struct sigaction _former {};
};

}  // namespace

std::unique_ptr<LineSource> edit_lines(const LineHelp& help,
                                       const std::vector<std::string>& history) {
  return std::make_unique<EditedLines>(help, history);
}
