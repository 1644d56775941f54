#include "tools/policyctl/import/import_text.h"

#include <algorithm>
#include <array>

#include "tools/policyctl/import/import_formats.h"

namespace {

constexpr std::array FORMATS{
    ImportFormat{"classbench", "a packet filter set of the ClassBench generator",
                 import_classbench},
    ImportFormat{"openconfig-acl", "access control lists as an OpenConfig tree in JSON",
                 import_openconfig_acl},
    ImportFormat{"flat-config", "a switch's configuration as tables in JSON: TABLE|KEY",
                 import_flat_config},
};

}  // namespace

std::span<const ImportFormat> import_formats() {
  return FORMATS;
}

const ImportFormat* find_import_format(std::string_view name) {
  const auto* const at = std::find_if(FORMATS.begin(), FORMATS.end(),
                                      [name](const ImportFormat& f) { return f.name == name; });
  return at == FORMATS.end() ? nullptr : at;
}

std::string note_line(const ImportNote& note) {
  return note.where + ": " + note.what + ": " + note.why;
}

Import import_text(const ImportFormat& format, std::string_view text,
                   const ImportOptions& options) {
  Import import;
  format.read(text, options, import);
  return import;
}
