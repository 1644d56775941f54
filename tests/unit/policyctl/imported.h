// Imports, as tests compare them.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

#include "tests/support/typed_configuration.h"
#include "tests/unit/policyctl/faults_of.h"
#include "tools/policyctl/import/import_text.h"
#include "tools/policyctl/language/write_configuration.h"

using Texts = std::vector<std::string>;

// The text of a file below examples/.
std::string example(const std::string& name);

// The printed configuration, which must read back as it is.
inline std::string printed(const Import& import) {
  const std::string text = write_configuration(import.configuration);
  const ReadConfiguration read = read_configuration(text);
  EXPECT_EQ(shown_faults(read.faults), Texts{});
  EXPECT_EQ(write_configuration(read.configuration), text);
  return text;
}

inline Texts notes_of(const Import& import) {
  Texts notes;
  for (const ImportNote& note : import.notes) notes.push_back(note_line(note));
  return notes;
}

inline std::size_t rules_of(const Import& import) {
  return import.configuration.of(RULE).size();
}
