#include "tools/policyctl/render/json_configuration.h"

#include "tools/policyctl/language/elements.h"
#include "tools/policyctl/language/write_configuration.h"
#include "tools/policyctl/render/json_stream.h"

namespace {

class Printing {
 public:
  Printing(std::ostream& out, const Entries& entries) : _stream(out), _entries(entries) {}

  void print() {
    _stream.begin_object();
    std::string_view within;
    for (const EntryKind* kind : top_kinds()) {
      const JsonForm& form = kind->facts().json;
      if (form.within != within) {
        if (!within.empty()) _stream.end();
        if (!form.within.empty()) _stream.begin_object(form.within);
        within = form.within;
      }
      print_kind(*kind);
    }
    _stream.end();
  }

 private:
  void print_kind(const EntryKind& kind) {
    const JsonForm& form = kind.facts().json;
    if (!form.is_list) {
      for (const auto& [key, value] : _entries.of(kind)) {
        _stream.add(entry_json(kind, key, value), form.member);
      }
      return;
    }
    _stream.begin_list(form.member);
    for (const auto& [key, value] : _entries.of(kind)) {
      const bool is_outside = *kind.facts().presence == Presence::OUTSIDE;
      if (is_outside && is_bare(kind, key, _entries)) continue;
      if (*kind.facts().opens == nullptr) {
        _stream.add(entry_json(kind, key, value));
      } else {
        print_head(kind, key, value);
      }
    }
    _stream.end();
  }

  void print_head(const EntryKind& kind, const EntryKey& key, const EntryValue& value) {
    _stream.begin_object();
    const Json head = entry_json(kind, key, value);
    for (const auto& [name, member] : head.items()) _stream.add(member, name);
    for (const EntryKind* child : kinds_below(kind)) print_below(*child, key);
    _stream.end();
  }

  void print_below(const EntryKind& kind, const EntryKey& above) {
    const JsonForm& form = kind.facts().json;
    if (form.is_list) _stream.begin_list(form.member);
    for_each_said_below(kind, above, _entries, [&](const EntryKey& key, const EntryValue& value) {
      _stream.add(entry_json(kind, key, value), form.is_list ? "" : form.member);
    });
    if (form.is_list) _stream.end();
  }

  JsonStream _stream;
  const Entries& _entries;
};

}  // namespace

void print_configuration_json(std::ostream& out, const Entries& entries) {
  Printing(out, entries).print();
}

void print_plan_json(std::ostream& out, const Plan& plan) {
  JsonStream stream(out);
  stream.begin_object();
  stream.begin_list("changes");
  for (const Change& change : plan.changes()) stream.add(change_json(change, plan));
  stream.end();
  stream.add(counts_json(plan.counts()), "counts");
  stream.add(plan.steps().size(), "requests");
  stream.end();
}
