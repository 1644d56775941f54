#include "tools/policyctl/import/import_text.h"

#include <algorithm>
#include <array>

#include "tools/policyctl/import/import_formats.h"

namespace {

using Reader = void (*)(std::string_view text, const ImportOptions& options, Import& import);

constexpr std::array FORMATS{
    ImportFormatName{ImportFormat::CLASSBENCH, "classbench",
                     "a packet filter set of the ClassBench generator"},
    ImportFormatName{ImportFormat::OPENCONFIG_ACL, "openconfig-acl",
                     "access control lists as an OpenConfig tree in JSON"},
    ImportFormatName{ImportFormat::FLAT_CONFIG, "flat-config",
                     "a switch's configuration as tables in JSON: TABLE|KEY"},
};

Reader reader_of(ImportFormat format) {
  switch (format) {
    case ImportFormat::CLASSBENCH:
      return import_classbench;
    case ImportFormat::OPENCONFIG_ACL:
      return import_openconfig_acl;
    case ImportFormat::FLAT_CONFIG:
      break;
  }
  return import_flat_config;
}

}  // namespace

std::span<const ImportFormatName> import_formats() {
  return FORMATS;
}

std::optional<ImportFormat> find_import_format(std::string_view name) {
  const auto* const at =
      std::find_if(FORMATS.begin(), FORMATS.end(),
                   [name](const ImportFormatName& each) { return each.name == name; });
  if (at == FORMATS.end()) return std::nullopt;
  return at->format;
}

std::string note_line(const ImportNote& note) {
  return note.where + ": " + note.what + ": " + note.why;
}

Import import_text(ImportFormat format, std::string_view text, const ImportOptions& options) {
  Import import;
  reader_of(format)(text, options, import);
  return import;
}
