#include "tools/policyctl/entries/object_uses.h"

#include <algorithm>

#include "framework/xrl/nearest_name.h"
#include "tools/policyctl/failure.h"
#include "tools/policyctl/language/command_forms.h"
#include "tools/policyctl/language/elements.h"
#include "tools/policyctl/language/statement_match.h"
#include "tools/policyctl/language/write_configuration.h"

namespace {

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
      for (const EntryKind* child : kinds_below(*kind)) {
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

struct ObjectSought {
  std::string name;   // "acl 10 rule 1"
  std::string among;  // what `show` takes for all of its kind: "acl 10"
};

// REFUSED. `nearest` is what may have been meant instead, if anything.
Failure missing_object(const ObjectSought& sought, const ObjectPlace& place,
                       const std::string& nearest) {
  return Failure(ExitStatus::REFUSED, "there is no " + sought.name + " " + place.name + ".",
                 (nearest.empty() ? "" : "Is '" + nearest + "' meant? ") + "See " +
                     own_command("show " + sought.among) + ".");
}

// Throws missing_object() when there is no such entry.
void require_entry(const Entries& entries, const EntryKind& kind, const EntryKey& key,
                   const ObjectSought& sought, const ObjectPlace& place) {
  const EntryMap& map = entries.of(kind);
  if (map.contains(key)) return;
  const std::size_t own = numbers_above(kind);
  const auto as_text = [own](const EntryKey& each) {
    return each.name.empty() ? std::to_string(each.numbers[own]) : std::string(each.name.view());
  };
  const std::string wanted = as_text(key);
  NearestName nearest(wanted);
  for (const auto& [other, value] : map) {
    const bool is_beside = own == 0 || other.numbers[0] == key.numbers[0];
    if (is_beside) nearest.consider(as_text(other));
  }
  throw missing_object(sought, place, nearest.name());
}

}  // namespace

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

EntryKey key_said(std::string_view form, const std::vector<std::string>& words, EntryKey key,
                  std::size_t number) {
  std::size_t at = 0;
  for (const PatternElement& element : parse_pattern(form)) {
    const std::string_view word = words.at(at++);
    if (element.kind != PatternElement::Kind::ARGUMENT) continue;
    if (element.argument->syntax == ArgumentSyntax::TEXT) {
      key.name = Bytes(word);
    } else {
      key.numbers.at(number++) = decimal_number(word).value_or(0);
    }
  }
  return key;
}

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
  patterns.reserve(forms.size());
  for (const ObjectForm* form : forms) patterns.emplace_back(form->words);
  const ObjectForm& form = *forms[require_form(patterns, words)];
  const bool is_below = form.scope != &TOP_LEVEL;
  return {form.kind, key_said(form.words, words, is_below ? open : EntryKey(), is_below ? 1 : 0)};
}

std::vector<ObjectUse> uses_of(const ObjectName& object, const Entries& entries) {
  std::vector<ObjectUse> uses;
  for (const EntryKind* head : outside_kinds()) {
    for (const auto& [record, nothing] : entries.of(*head)) {
      for (const EntryKind* kind : entry_kinds()) {
        if (used_kind(*kind) == nullptr || !stands_below(*kind, *head)) continue;
        for_each_said_below(*kind, record, entries,
                            [&](const EntryKey& key, const EntryValue& value) {
                              if (names(object, *kind, key)) uses.push_back({kind, key, value});
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
  for (const EntryKind* kind : using_kinds()) {
    erase_said(entries, *kind, [&](const EntryKey& key) { return names(object, *kind, key); });
  }
}
