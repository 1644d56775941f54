#include "tools/policyctl/change/journal.h"

#include <charconv>
#include <chrono>
#include <utility>

#include "tools/policyctl/language/read_configuration.h"
#include "tools/policyctl/language/words.h"
#include "tools/policyctl/language/write_configuration.h"

// A line a value, then the configuration text of what was and of what was to be:
//
//     policyctl journal 1
//     id 4711-2863311530
//     policyd policy-0f0e0d0c0b0a0908
//     what "apply edge.conf"
//     confirm-by 0
//     before 000000000123      (bytes of text that follow)
//     ...
//     after 000000000456
//     ...
//     end
namespace {

constexpr const char* FILE_NAME = "journal";
constexpr const char* NOTE_NAME = "undone";
constexpr std::string_view JOURNAL_HEAD = "policyctl journal 1\n";

[[noreturn]] void refuse_damage(const StateDirectory& directory) {
  throw Failure(
      ExitStatus::BAD_FILE, "the journal " + directory.path() + "/" + FILE_NAME + " is damaged.",
      "Look at the switch with " + own_command("show") + ", put it right, and remove the file.");
}

// Takes lines and texts off the front of a journal.
class JournalText {
 public:
  JournalText(const StateDirectory& directory, std::string_view text)
      : _directory(directory), _rest(text) {
    if (!_rest.starts_with(JOURNAL_HEAD)) refuse_damage(_directory);
    _rest.remove_prefix(JOURNAL_HEAD.size());
  }

  std::string_view value(std::string_view key) {
    const std::size_t end = _rest.find('\n');
    if (end == std::string_view::npos || !_rest.starts_with(key) || _rest[key.size()] != ' ') {
      refuse_damage(_directory);
    }
    const std::string_view value = _rest.substr(key.size() + 1, end - key.size() - 1);
    _rest.remove_prefix(end + 1);
    return value;
  }

  std::int64_t number(std::string_view key) {
    const std::string_view digits = value(key);
    std::int64_t number = 0;
    const char* const end = digits.data() + digits.size();
    const auto [last, problem] = std::from_chars(digits.data(), end, number);
    if (problem != std::errc() || last != end || number < 0) refuse_damage(_directory);
    return number;
  }

  WantedConfiguration configuration(std::string_view key) {
    const auto size = static_cast<std::size_t>(number(key));
    if (size > _rest.size()) refuse_damage(_directory);
    ReadConfiguration read = read_configuration(_rest.substr(0, size));
    _rest.remove_prefix(size);
    if (!read.faults.empty()) refuse_damage(_directory);
    return std::move(read.configuration);
  }

  void end() {
    if (_rest != "end\n") refuse_damage(_directory);
  }

 private:
  const StateDirectory& _directory;
  std::string_view _rest;
};

// Sizes have a fixed width, so that they can be filled in afterwards.
constexpr int SIZE_DIGITS = 12;

void append_part(Draft& draft, std::string_view key, const Entries& configuration) {
  draft.append(key);
  draft.append(" " + std::string(SIZE_DIGITS, '0') + "\n");
  const std::size_t begin = draft.size();
  write_configuration(configuration, Bare::WRITTEN,
                      [&draft](std::string_view piece) { draft.append(piece); });
  const std::string size = std::to_string(draft.size() - begin);
  draft.write_over(begin - 1 - size.size(), size);
}

}  // namespace

void write_journal(const StateDirectory& directory, const Journal& journal, const Plan& plan) {
  directory.write(FILE_NAME, [&](Draft& draft) {
    draft.append(JOURNAL_HEAD);
    draft.append("id " + journal.id + "\n");
    draft.append("policyd " + journal.policyd + "\n");
    draft.append("what " + as_quoted_word(journal.what) + "\n");
    draft.append("confirm-by " + std::to_string(journal.confirm_by) + "\n");
    // One part is gone before the other is made: of a hundred thousand rules one
    // copy less is held.
    append_part(draft, "before", touched_part(plan, plan.present()));
    append_part(draft, "after", touched_part(plan, plan.target()));
    draft.append("end\n");
  });
  directory.remove(NOTE_NAME);
}

std::optional<Journal> read_journal(const StateDirectory& directory) {
  const std::optional<std::string> text = directory.read(FILE_NAME);
  if (!text) return std::nullopt;
  JournalText rest(directory, *text);
  Journal journal;
  journal.id = rest.value("id");
  journal.policyd = rest.value("policyd");
  Words what;
  if (what.split(rest.value("what")) || what.all().size() != 1) refuse_damage(directory);
  journal.what = what.all()[0].text;
  journal.confirm_by = rest.number("confirm-by");
  journal.touched.before = rest.configuration("before");
  journal.touched.after = rest.configuration("after");
  rest.end();
  return journal;
}

void confirm_journal_by(const StateDirectory& directory, std::int64_t confirm_by) {
  const std::optional<std::string> text = directory.read(FILE_NAME);
  if (!text) return;
  // The values before it are a line each, the texts come behind it.
  const std::size_t line = text->find("\nconfirm-by ");
  if (line == std::string::npos) refuse_damage(directory);
  const std::size_t end = text->find('\n', line + 1);
  // In pieces: a text that grows would be held twice.
  directory.write(FILE_NAME, [&](Draft& draft) {
    draft.append(std::string_view(*text).substr(0, line));
    draft.append("\nconfirm-by " + std::to_string(confirm_by));
    draft.append(std::string_view(*text).substr(end));
  });
}

void mark_journal_undone(const StateDirectory& directory) {
  try {
    confirm_journal_by(directory, 0);
  } catch (const Failure& failure) {
    if (failure.status() != ExitStatus::REFUSED) throw;
  }
}

void remove_journal(const StateDirectory& directory) {
  directory.remove(FILE_NAME);
}

std::optional<ChangeLock> hold_guard(const StateDirectory& directory) {
  return ChangeLock::try_hold(directory.path() + "/guard");
}

std::string unwatched_change(const StateDirectory& directory) {
  if (!has_journal(directory)) return {};
  const std::optional<Journal> journal = read_journal(directory);
  if (!journal || journal->confirm_by == 0 || !hold_guard(directory)) return {};
  return "the change '" + journal->what +
         "' waits for its confirmation, and what was to undo it is gone: it stays until somebody "
         "confirms or recovers it.";
}

void keep_undo_note(const StateDirectory& directory, const std::string& note) {
  try {
    directory.write(NOTE_NAME, note);
  } catch (const Failure&) {
    // The change is undone all the same.
  }
}

std::string undo_note(const StateDirectory& directory) {
  return directory.read(NOTE_NAME).value_or("");
}

std::int64_t milliseconds_since_epoch() {
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  return std::chrono::duration_cast<std::chrono::milliseconds>(now).count();
}

bool has_journal(const StateDirectory& directory) {
  return directory.has(FILE_NAME);
}
