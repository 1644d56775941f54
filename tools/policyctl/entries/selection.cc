#include "tools/policyctl/entries/selection.h"

#include <algorithm>
#include <utility>

#include "tools/policyctl/language/command_forms.h"
#include "tools/policyctl/language/joined.h"
#include "tools/policyctl/language/statement_match.h"
#include "tools/policyctl/language/write_configuration.h"

namespace {

// What can be selected: all of a kind, one of it, one that stands below it; and
// what belongs together, by the word that its statements begin with.
struct SelectionForm {
  std::string words;
  std::vector<const EntryKind*> parts;
  const EntryKind* one = nullptr;  // of which it is a single one
};

const std::vector<SelectionForm>& selectable_forms() {
  static const std::vector<SelectionForm> FORMS = [] {
    std::vector<SelectionForm> forms;
    for (const EntryKind* kind : top_kinds()) {
      const std::string word(statements_of(*kind).front().elements[0].word);
      if (*kind->facts().presence == Presence::ALWAYS) {
        if (forms.empty() || forms.back().words != word) forms.push_back({word, {}, nullptr});
        forms.back().parts.push_back(kind);
        continue;
      }
      forms.push_back({word + "s", {kind}, nullptr});
      forms.push_back({key_words(*kind), {kind}, kind});
      for (const EntryKind* child : entry_kinds()) {
        const bool is_listed = stands_below(*child, *kind) && *child->facts().key_arguments == 1;
        if (!is_listed) continue;
        forms.push_back({key_words(*kind) + " " + key_words(*child), {kind}, child});
      }
    }
    return forms;
  }();
  return FORMS;
}

// Those below the keys that are left.
void drop_orphans(Entries& entries, const EntryKind& head) {
  for (const EntryKind* child : kinds_below(head)) {
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
  if (form.one != nullptr) selection._one = {form.one, key_said(form.words, words)};
  return selection;
}

bool Selection::has(const EntryKind& kind) const {
  return std::find(_parts.begin(), _parts.end(), &kind) != _parts.end();
}

std::string Selection::name() const {
  return joined(_words, " ");
}

void Selection::require(const Entries& entries, const ObjectPlace& place) const {
  if (_one.kind != nullptr) require_object(_one, entries, place);
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
  if (_one.kind == nullptr) return;
  const EntryKey above = _one.kind == &head ? _one.key : key_above(*_one.kind, _one.key);
  entries.of(head).erase_if([&](const MapEntry& entry) { return entry.first != above; });
  drop_orphans(entries, head);
  if (_one.kind == &head) return;
  for (const EntryKind* child : kinds_below(head)) {
    entries.of(*child).erase_if([&](const MapEntry& entry) { return entry.first != _one.key; });
  }
}

void Selection::drop_other_parts(Entries& entries) const {
  for (const EntryKind* kind : entry_kinds()) {
    if (*kind->facts().below != &TOP_LEVEL || has(*kind)) continue;
    entries.of(*kind).clear();
    if (*kind->facts().opens != nullptr) drop_orphans(entries, *kind);
  }
}
