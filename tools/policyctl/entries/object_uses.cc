#include "tools/policyctl/entries/object_uses.h"

#include <algorithm>

#include "tools/policyctl/entries/required_form.h"
#include "tools/policyctl/language/elements.h"
#include "tools/policyctl/language/statement_match.h"
#include "tools/policyctl/language/write_configuration.h"

namespace {

// The words of a statement up to the last argument of its key: "acl ACL".
std::string key_words(const EntryKind& kind) {
  std::string words;
  std::size_t left = *kind.facts().key_arguments;
  for (const PatternElement& element : statements_of(kind).front().elements) {
    if (left == 0) break;
    words += (words.empty() ? "" : " ") + std::string(element.word);
    if (element.kind == PatternElement::Kind::ARGUMENT) --left;
  }
  return words;
}

bool is_made(const EntryKind& kind) {
  return *kind.facts().presence == Presence::MADE;
}

// Lists first, and what stands below them; what is bound comes last.
std::vector<ObjectForm> all_forms() {
  std::vector<ObjectForm> forms;
  for (const bool used : {true, false}) {
    for (const EntryKind* kind : entry_kinds()) {
      if (*kind->facts().below != &TOP_LEVEL || !is_made(*kind) || is_used(*kind) != used) continue;
      forms.push_back({key_words(*kind), kind, &TOP_LEVEL});
      for (const EntryKind* child : entry_kinds()) {
        if (!stands_below(*child, *kind)) continue;
        forms.push_back({key_words(*kind) + " " + key_words(*child), child, &TOP_LEVEL});
      }
    }
  }
  for (const EntryKind* kind : entry_kinds()) {
    const bool stands_alone = *kind->facts().below == &TOP_LEVEL;
    const bool is_listed =
        stands_alone ? *kind->facts().presence == Presence::OUTSIDE : is_made(*kind);
    if (is_listed) forms.push_back({key_words(*kind), kind, kind->facts().below});
  }
  return forms;
}

bool is_one(const ObjectForm& form, Named names) {
  if (names == Named::EDITED) return true;
  if (form.scope != &TOP_LEVEL || !is_made(*form.kind)) return false;
  if (names == Named::USED) return is_used(*form.kind);
  return names == Named::MADE || *form.kind->facts().opens != nullptr;
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

bool is_used(const EntryKind& kind) {
  return std::any_of(entry_kinds().begin(), entry_kinds().end(), [&](const EntryKind* user) {
    const EntryKind* const used = used_kind(*user);
    return used != nullptr && (used == &kind || stands_below(*used, kind));
  });
}

std::vector<const ObjectForm*> object_forms(Named names) {
  static const std::vector<ObjectForm> ALL = all_forms();
  std::vector<const ObjectForm*> forms;
  for (const ObjectForm& form : ALL) {
    if (is_one(form, names)) forms.push_back(&form);
  }
  return forms;
}

ObjectName parse_object(Named names, const std::vector<std::string>& words, const Scope* scope,
                        const EntryKey& open) {
  std::vector<const ObjectForm*> forms = object_forms(names);
  std::erase_if(forms, [scope](const ObjectForm* form) {
    return form->scope != &TOP_LEVEL && form->scope != scope;
  });
  std::vector<std::string_view> patterns;
  for (const ObjectForm* form : forms) patterns.emplace_back(form->words);
  const ObjectForm& form = *forms[require_form(patterns, words)];
  const bool is_below = form.scope != &TOP_LEVEL;
  ObjectName object{form.kind, is_below ? open : EntryKey()};
  std::size_t number = is_below ? 1 : 0;
  std::size_t at = 0;
  for (const PatternElement& element : parse_pattern(form.words)) {
    const std::string_view word = words.at(at++);
    if (element.kind != PatternElement::Kind::ARGUMENT) continue;
    if (element.argument->syntax == ArgumentSyntax::TEXT) {
      object.key.name = Bytes(word);
    } else {
      object.key.numbers.at(number++) = decimal_number(word).value_or(0);
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
  return head_name(*use.kind, use.key);
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
      entries.of(*kind).erase_if(
          [&](const MapEntry& entry) { return names(object, *kind, entry.first); });
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
    entries.of(*child).erase_if(
        [&](const MapEntry& entry) { return key_above(*child, entry.first) == object.key; });
  }
  entries.erase(*object.kind, object.key);
}
