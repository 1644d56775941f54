#include "tools/policyctl/commands/import_command.h"

#include <ostream>

#include "framework/xrl/nearest_name.h"
#include "tools/policyctl/language/words.h"
#include "tools/policyctl/language/write_configuration.h"
#include "tools/policyctl/render/json_output.h"

namespace {

const ImportFormat& format_named(const std::string& name) {
  const ImportFormat* const format = find_import_format(name);
  if (format != nullptr) return *format;
  NearestName nearest(name);
  std::string all;
  for (const ImportFormat& each : import_formats()) {
    nearest.consider(each.name);
    all += (all.empty() ? "" : ", ") + std::string(each.name);
  }
  throw Failure(ExitStatus::USAGE, "'" + name + "' is no format that can be imported.",
                nearest.name().empty() ? "The formats are: " + all + "."
                                       : "Is '" + nearest.name() + "' meant?");
}

Json notes_json(const std::vector<ImportNote>& notes) {
  Json list = Json::array();
  for (const ImportNote& note : notes) {
    list.push_back({{"where", text_json(note.where)},
                    {"what", text_json(note.what)},
                    {"why", text_json(note.why)}});
  }
  return list;
}

}  // namespace

ExitStatus import_command(const Context& context, const ImportCommandOptions& import) {
  const ImportFormat& format = format_named(import.format);
  const SourceText source = read_source(import.file);
  const Import imported = import_text(format, source.text, import.options);
  if (!imported.faults.empty()) return report_faults(context, source, imported.faults);
  const std::string text = write_configuration(imported.configuration);
  const bool to_file = !import.output.empty() && import.output != "-";
  if (to_file) write_file(context, import.output, text);
  if (context.json) {
    Json json = {{"format", import.format}, {"notes", notes_json(imported.notes)}};
    if (to_file) {
      json["output"] = text_json(import.output);
    } else {
      json["text"] = text_json(text);
    }
    print_json(context.out, json);
    return ExitStatus::DONE;
  }
  if (!to_file) context.out << text << std::flush;
  for (const ImportNote& note : imported.notes) {
    context.err << harmless_line(note_line(note)) << '\n';
  }
  return ExitStatus::DONE;
}
