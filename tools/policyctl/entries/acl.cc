#include "tools/policyctl/entries/acl.h"

#include "tools/policyctl/entries/entry_sender.h"
#include "tools/policyctl/entries/scopes.h"
#include "tools/policyctl/entries/switch_reader.h"

namespace {

constexpr StatementForm ACL_FORMS[]{
    {"acl ACL type TYPE [description TEXT]", "an access control list; its rules follow"}};
constexpr std::string_view ACL_JSON[]{"acl", "type", "description"};

class Acls : public EntryKind {
 public:
  using EntryKind::EntryKind;

  void read(SwitchReader& reader, const EntryKey& /*above*/) const override {
    reader.ask_for(SwitchReader::Gone::IS_A_FAILURE, "read the access control lists",
                   &PolicydClient::send_get_acls,
                   [this, &reader](const XrlAtomList& acls, const XrlAtomList& types,
                                   const XrlAtomList& descriptions) {
                     require_size(acls.size(), types, descriptions);
                     std::size_t i = 0;
                     for (const std::string_view description : descriptions.texts()) {
                       reader.found(*this, key_of(acls.u32_at(i)),
                                    acl_value(types.u32_at(i), description));
                       ++i;
                     }
                   });
  }

  [[nodiscard]] bool send(EntrySender& sender, const Step& step) const override {
    const std::uint32_t number = step.key.numbers[0];
    switch (step.verb) {
      case Verb::REMOVE:
        return sender.client.send_delete_acl(sender.policyd, number, sender.done);
      case Verb::DESCRIBE:
        if (step.value.text().empty()) {
          return sender.client.send_unset_acl_description(sender.policyd, number, sender.done);
        }
        return sender.client.send_set_acl_description(sender.policyd, number,
                                                      std::string(step.value.text()), sender.done);
      default:
        return sender.client.send_create_acl(sender.policyd, number, step.value.number(0),
                                             sender.done);
    }
  }
};

constinit const Acls ACL_KIND(EntryFacts{
    .forms = ACL_FORMS,
    .noun = "access control list",
    .below = &TOP_LEVEL,
    .opens = &IN_A_LIST,
    .key_arguments = std::size_t{1},
    .presence = Presence::MADE,
    .defaults = std::span<const DefaultEntry>{},
    .change = HowChanged::REPLACED,
    .phase = Phase::LISTS,
    .uses = Use{nullptr, nullptr, {}, {}, {}},
    .missing = nullptr,
    .refused = nullptr,
    .said_twice = std::pair{std::string_view("this access control list stands above already."),
                            std::string_view("Move its rules there.")},
    .reads = "get_acls",
    .sends = "create_acl, set_acl_description, unset_acl_description, delete_acl",
    .json = JsonForm{"", "acls", true, ACL_JSON},
    .example = "acl 10 type 0 description \"edge in\"\n",
});

}  // namespace

const EntryKind& ACL = ACL_KIND;
