// Configuration text, line by line, into records.
#pragma once

#include <string_view>
#include <vector>

#include "tools/policyctl/language/configuration.h"
#include "tools/policyctl/language/fault.h"
#include "tools/policyctl/language/statement_handlers.h"

struct ReadConfiguration {
  Configuration configuration;
  std::vector<Fault> faults;           // in order of place; with any, the rest is incomplete
  std::vector<BindingPlace> bindings;  // whose rules have to exist
  std::vector<RecordPlace> records;    // which have to exist
  std::vector<DenialPlace> denials;    // of whose rules none may be remarked
};

// All of a text, all its faults. What the text alone shows is checked: words,
// values, that nothing is said twice, and that a remark's rule, where the text
// has it, permits.
[[nodiscard]] ReadConfiguration read_configuration(std::string_view text);

// The bindings whose rule, or whose permission to remark, is missing from
// `configuration`, in which all that the text names is.
[[nodiscard]] std::vector<Fault> binding_faults(const std::vector<BindingPlace>& bindings,
                                                const Configuration& configuration,
                                                bool whole_switch);

// Reads line after line, for a person who types them.
class ConfigurationReader {
 public:
  // Adds to `configuration`, which must outlive the reader.
  explicit ConfigurationReader(Configuration& configuration) : _entry(configuration) {}

  // `line` is without its line break; `number` counts from 1. A line that is
  // refused adds to the faults of entry() and leaves the configuration alone.
  void read_line(std::string_view line, std::size_t number);
  // Takes the last line, when it was no statement, for the one it was probably
  // meant to be as far as the place of the following lines goes, lest they be
  // called wrong for standing there. They are kept nowhere then, so this is for
  // texts that are refused as a whole.
  void read_on();
  [[nodiscard]] StatementEntry& entry() { return _entry; }

 private:
  StatementEntry _entry;
  Words _words;
  StatementMatch _match;
  bool _is_statement = true;
};
