#include "tools/policyctl/entries/object_uses.h"

#include <algorithm>

#include "tools/policyctl/entries/required_form.h"
#include "tools/policyctl/language/elements.h"
#include "tools/policyctl/language/statement_match.h"
#include "tools/policyctl/language/write_configuration.h"

namespace {

struct ObjectForm {
  std::string words;
  const EntryKind* kind;
  bool is_used;
};

std::string key_words(const EntryKind& kind) {
  const auto& elements = statements_of(kind).front().elements;
  return std::string(elements[0].word) + " " + std::string(elements[1].word);
}

bool is_used(const EntryKind& kind) {
  return std::any_of(entry_kinds().begin(), entry_kinds().end(), [&](const EntryKind* user) {
    const EntryKind* const used = used_kind(*user);
    return used != nullptr && (used == &kind || stands_below(*used, kind));
  });
}

// Lists first, and what stands below them.
const std::vector<ObjectForm>& all_forms() {
  static const std::vector<ObjectForm> FORMS = [] {
    std::vector<ObjectForm> forms;
    for (const bool used : {true, false}) {
      for (const EntryKind* kind : entry_kinds()) {
        const bool is_made = *kind->facts().below == &TOP_LEVEL &&
                             *kind->facts().presence == Presence::MADE && is_used(*kind) == used;
        if (!is_made) continue;
        forms.push_back({key_words(*kind), kind, used});
        for (const EntryKind* child : entry_kinds()) {
          if (!stands_below(*child, *kind)) continue;
          forms.push_back({key_words(*kind) + " " + key_words(*child), child, used});
        }
      }
    }
    return forms;
  }();
  return FORMS;
}

std::vector<std::string_view> forms(bool only_used) {
  std::vector<std::string_view> words;
  for (const ObjectForm& form : all_forms()) {
    if (form.is_used || !only_used) words.push_back(form.words);
  }
  return words;
}

bool names(const ObjectName& object, const EntryKind& user, const EntryKey& key) {
  const EntryKind* const used = used_kind(user);
  if (used == nullptr) return false;
  const EntryKey used_one = used_key(key);
  return used == object.kind
             ? used_one == object.key
             : stands_below(*used, *object.kind) && key_above(*used, used_one) == object.key;
}

}  // namespace

const std::vector<std::string_view>& list_forms() {
  static const std::vector<std::string_view> FORMS = forms(true);
  return FORMS;
}

const std::vector<std::string_view>& object_forms() {
  static const std::vector<std::string_view> FORMS = forms(false);
  return FORMS;
}

ObjectName parse_object(const std::vector<std::string_view>& forms,
                        const std::vector<std::string>& words) {
  const std::string_view form = forms.at(require_form(forms, words));
  const auto at = std::find_if(all_forms().begin(), all_forms().end(),
                               [form](const ObjectForm& each) { return each.words == form; });
  ObjectName object{at->kind, {}};
  std::size_t number = 0;
  for (std::size_t i = 1; i < words.size(); i += 2) {
    const std::optional<std::uint32_t> given = decimal_number(words[i]);
    const EntryKind& named = i == 1 && words.size() > 2 ? *head_of(*at->kind, {}) : *at->kind;
    const Argument& argument = *statements_of(named).front().elements[1].argument;
    if (argument.syntax == ArgumentSyntax::TEXT) {
      object.key.name = Bytes(std::string_view(words[i]));
    } else {
      object.key.numbers.at(number++) = given.value_or(0);
    }
  }
  return object;
}

std::vector<ObjectUse> uses_of(const ObjectName& object, const Entries& entries) {
  std::vector<ObjectUse> uses;
  for (const EntryKind* head : entry_kinds()) {
    if (*head->facts().presence != Presence::OUTSIDE) continue;
    for (const auto& [record, nothing] : entries.of(*head)) {
      for (const EntryKind* kind : entry_kinds()) {
        if (used_kind(*kind) == nullptr || !stands_below(*kind, *head)) continue;
        for_each_below(record, entries.of(*kind),
                       [&](const EntryKey& key, const EntryValue& value) {
                         if (*kind->facts().change != HowChanged::ORDERED) {
                           if (names(object, *kind, key)) uses.push_back({kind, key, value});
                           return;
                         }
                         for_each_element(key, value, [&](const EntryKey& element) {
                           if (names(object, *kind, element)) uses.push_back({kind, element, {}});
                         });
                       });
      }
    }
  }
  return uses;
}

std::string place_of(const ObjectUse& use) {
  return name_of(*head_of(*use.kind, use.key), key_above(*use.kind, use.key));
}

std::string statement_of(const ObjectUse& use) {
  return statement_text(*use.kind, use.key, use.value);
}

void require_object(const ObjectName& object, const Entries& entries, const ObjectPlace& place) {
  const EntryKind* const head = head_of(*object.kind, object.key);
  const EntryKind& top = head == nullptr ? *object.kind : *head;
  const EntryKey above = head == nullptr ? object.key : key_above(*object.kind, object.key);
  const std::string all = std::string(statements_of(top).front().elements[0].word) + "s";
  require_entry(entries, top, above, {name_of(top, above), all}, place);
  if (head == nullptr) return;
  require_entry(entries, *object.kind, object.key, {object.name(), name_of(top, above)}, place);
}

void unbind_object(const ObjectName& object, Entries& entries) {
  for (const EntryKind* kind : entry_kinds()) {
    if (used_kind(*kind) == nullptr) continue;
    if (*kind->facts().change != HowChanged::ORDERED) {
      std::erase_if(entries.of(*kind),
                    [&](const auto& entry) { return names(object, *kind, entry.first); });
      continue;
    }
    const EntryMap all = entries.of(*kind);
    for (const auto& [key, value] : all) {
      Elements left = elements_of(&value);
      const std::size_t erased = std::erase_if(left, [&, &record = key](const Element& each) {
        return names(object, *kind, element_key(record, each));
      });
      if (erased > 0) put_elements(entries, *kind, key, left);
    }
  }
}

void remove_object(const ObjectName& object, Entries& entries) {
  for (const EntryKind* child : entry_kinds()) {
    if (!stands_below(*child, *object.kind)) continue;
    std::erase_if(entries.of(*child),
                  [&](const auto& entry) { return key_above(*child, entry.first) == object.key; });
  }
  entries.erase(*object.kind, object.key);
}
