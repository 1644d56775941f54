#include "tools/policyctl/entries/selection.h"

#include <algorithm>
#include <utility>

#include "tools/policyctl/entries/required_form.h"
#include "tools/policyctl/language/joined.h"
#include "tools/policyctl/language/statement_match.h"
#include "tools/policyctl/language/write_configuration.h"

namespace {

// What can be selected: all of a kind, one of it, one that stands below it; and
// what belongs together, by the word that its statements begin with.
struct SelectionForm {
  std::string words;
  std::vector<const EntryKind*> parts;
  const EntryKind* below = nullptr;
};

const std::vector<SelectionForm>& selectable_forms() {
  static const std::vector<SelectionForm> FORMS = [] {
    std::vector<SelectionForm> forms;
    for (const EntryKind* kind : entry_kinds()) {
      if (*kind->facts().below != &TOP_LEVEL) continue;
      const auto& elements = statements_of(*kind).front().elements;
      const std::string word(elements[0].word);
      if (*kind->facts().presence == Presence::ALWAYS) {
        if (forms.empty() || forms.back().words != word) forms.push_back({word, {}, nullptr});
        forms.back().parts.push_back(kind);
        continue;
      }
      const std::string one = word + " " + std::string(elements[1].word);
      forms.push_back({word + "s", {kind}, nullptr});
      forms.push_back({one, {kind}, nullptr});
      for (const EntryKind* child : entry_kinds()) {
        const bool is_listed = stands_below(*child, *kind) && *child->facts().key_arguments == 1;
        if (!is_listed) continue;
        const auto& its = statements_of(*child).front().elements;
        forms.push_back(
            {one + " " + std::string(its[0].word) + " " + std::string(its[1].word), {kind}, child});
      }
    }
    return forms;
  }();
  return FORMS;
}

EntryKey key_of_word(const EntryKind& kind, const std::string& word) {
  const Argument& argument = *statements_of(kind).front().elements[1].argument;
  // NOLINTNEXTLINE(clang-analyzer-cplusplus.NewDeleteLeaks): the last Bytes frees its block
  return argument.syntax == ArgumentSyntax::TEXT ? key_of(std::string_view(word))
                                                 : key_of(decimal_number(word).value_or(0));
}

// Those below the keys that are left.
void drop_orphans(Entries& entries, const EntryKind& head) {
  for (const EntryKind* child : entry_kinds()) {
    if (!stands_below(*child, head)) continue;
    entries.of(*child).erase_if([&](const MapEntry& entry) {
      return head_of(*child, entry.first) == &head &&
             !entries.has(head, key_above(*child, entry.first));
    });
  }
}

}  // namespace

std::vector<std::string_view> selection_forms() {
  std::vector<std::string_view> forms;
  for (const SelectionForm& form : selectable_forms()) forms.push_back(form.words);
  return forms;
}

Selection Selection::parse(const std::vector<std::string>& words) {
  Selection selection;
  selection._words = words;
  if (words.empty()) {
    for (const EntryKind* kind : entry_kinds()) {
      if (*kind->facts().below == &TOP_LEVEL) selection._parts.push_back(kind);
    }
    return selection;
  }
  const SelectionForm& form = selectable_forms().at(require_form(selection_forms(), words));
  selection._parts = form.parts;
  if (words.size() > 1) selection._key = key_of_word(*form.parts[0], words[1]);
  if (form.below != nullptr) selection._key.numbers[1] = decimal_number(words[3]).value_or(0);
  return selection;
}

bool Selection::has(const EntryKind& kind) const {
  return std::find(_parts.begin(), _parts.end(), &kind) != _parts.end();
}

std::string Selection::name() const {
  return joined(_words, " ");
}

void Selection::require(const Entries& entries, const ObjectPlace& place) const {
  if (_words.size() < 2) return;
  const EntryKind& head = *_parts[0];
  const std::string one(kind());
  const EntryKey above{_key.name, {_key.numbers[0], 0, 0}};
  require_entry(entries, head, above, {one + " " + _words[1], one + "s"}, place);
  if (_words.size() < 4) return;
  for (const EntryKind* child : entry_kinds()) {
    if (!stands_below(*child, head) || statements_of(*child).front().elements[0].word != _words[2])
      continue;
    require_entry(entries, *child, _key, {name(), one + " " + _words[1]}, place);
  }
}

void Selection::narrow(Entries& entries) const {
  if (_words.empty()) return;
  const EntryKind& head = *_parts[0];
  // What else stands below the same is of another kind of head.
  for (const EntryKind* other : entry_kinds()) {
    const bool is_other = other != &head && *other->facts().opens != nullptr &&
                          *other->facts().opens == *head.facts().opens;
    if (!is_other) continue;
    entries.of(*other).clear();
    drop_orphans(entries, *other);
  }
  if (_words.size() < 2) return;
  const EntryKey above{_key.name, {_key.numbers[0], 0, 0}};
  entries.of(head).erase_if([&](const MapEntry& entry) { return entry.first != above; });
  drop_orphans(entries, head);
  if (_words.size() < 4) return;
  for (const EntryKind* child : entry_kinds()) {
    if (!stands_below(*child, head)) continue;
    entries.of(*child).erase_if([&](const MapEntry& entry) { return entry.first != _key; });
  }
}

void Selection::drop_other_parts(Entries& entries) const {
  for (const EntryKind* kind : entry_kinds()) {
    if (*kind->facts().below != &TOP_LEVEL || has(*kind)) continue;
    entries.of(*kind).clear();
    if (*kind->facts().opens != nullptr) drop_orphans(entries, *kind);
  }
}
