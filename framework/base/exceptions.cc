#include "framework/base/exceptions.h"

#include <cxxabi.h>

#include <cstdlib>
#include <memory>
#include <typeinfo>

#include "framework/base/xlog.h"

namespace {

std::string type_name(const std::type_info& type) {
  int status = 0;
  const std::unique_ptr<char, void (*)(void*)> name(
      abi::__cxa_demangle(type.name(), nullptr, nullptr, &status), std::free);
  return status == 0 ? name.get() : type.name();
}

}  // namespace

void xorp_catch_standard_exceptions() {
  if (std::current_exception() == nullptr) return;
  try {
    throw;
  } catch (const std::exception& exception) {
    XLOG_ERROR("%s: %s", type_name(typeid(exception)).c_str(), exception.what());
  } catch (...) {
    XLOG_ERROR("unknown exception");
  }
}
