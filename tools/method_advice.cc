#include "tools/method_advice.h"

#include "framework/base/quoted.h"
#include "framework/xrl/finder_constants.h"
#include "framework/xrl/interfaces/finder_xif.h"
#include "framework/xrl/nearest_name.h"

namespace {

struct MethodName {
  std::string_view interface;  // "policy_config/0.1"
  std::string_view method;
};

MethodName split(std::string_view name) {
  const std::size_t slash = name.rfind('/');
  if (slash == std::string_view::npos) return {{}, name};
  return {name.substr(0, slash), name.substr(slash + 1)};
}

}  // namespace

std::string method_advice(std::string_view target, std::string_view method,
                          const std::vector<std::string>& methods) {
  const MethodName wanted = split(method);
  NearestName nearest_interface(wanted.interface);
  NearestName nearest_method(wanted.method);
  bool has_interface = false;
  for (const std::string& name : methods) {
    if (name == method) return {};
    const MethodName existing = split(name);
    nearest_interface.consider(existing.interface);
    if (existing.interface != wanted.interface) continue;
    has_interface = true;
    nearest_method.consider(existing.method);
  }
  if (!has_interface) {
    return quoted(target) + " has no interface " + quoted(wanted.interface) +
           nearest_interface.question();
  }
  return quoted(wanted.interface) + " of " + quoted(target) + " has no method " +
         quoted(wanted.method) + nearest_method.question();
}

void explain_missing_method(XrlSender& sender, const Xrl& request, const XrlError& refusal,
                            const std::function<void(const XrlError&)>& explained) {
  XrlFinderV0p2Client finder(&sender);
  const auto methods_known = [target = request.target, method = request.method, refusal, explained](
                                 const XrlError& lookup, const XrlAtomList* methods) {
    std::string advice;
    if (lookup.is_okay()) {
      std::vector<std::string> names;
      names.reserve(methods->size());
      for (const std::string_view name : methods->texts()) names.emplace_back(name);
      advice = method_advice(target, method, names);
    }
    explained(advice.empty() ? refusal : XrlError(refusal.code(), advice));
  };
  if (!finder.send_get_methods(FinderConstants::FINDER_TARGET(), request.target,
                               callback(methods_known))) {
    explained(refusal);
  }
}
