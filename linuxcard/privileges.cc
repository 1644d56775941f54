#include "linuxcard/privileges.h"

#include <linux/capability.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <system_error>

namespace {

constexpr std::array KEPT{CAP_NET_ADMIN, CAP_BPF, CAP_PERFMON};
constexpr unsigned BITS = 32;

[[noreturn]] void fail(const char* what) {
  throw std::system_error(errno, std::generic_category(), what);
}

bool is_kept(int capability) {
  for (const int kept : KEPT) {
    if (kept == capability) return true;
  }
  return false;
}

}  // namespace

void drop_privileges() {
  __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
  std::array<__user_cap_data_struct, _LINUX_CAPABILITY_U32S_3> sets{};
  if (syscall(SYS_capget, &header, sets.data()) != 0) fail("capget");
  // Of the bounding set, which an executed program begins with, only who may can drop.
  for (int capability = 0; capability <= CAP_LAST_CAP; ++capability) {
    if (!is_kept(capability) && prctl(PR_CAPBSET_DROP, capability) != 0 && errno != EINVAL &&
        errno != EPERM) {
      fail("prctl");
    }
  }
  std::array<std::uint32_t, _LINUX_CAPABILITY_U32S_3> mask{};
  for (const int capability : KEPT) {
    const auto number = static_cast<unsigned>(capability);
    mask.at(number / BITS) |= 1U << (number % BITS);
  }
  for (std::size_t i = 0; i < sets.size(); ++i) {
    sets.at(i).permitted &= mask.at(i);
    sets.at(i).effective = sets.at(i).permitted;
    sets.at(i).inheritable = 0;
  }
  if (syscall(SYS_capset, &header, sets.data()) != 0) fail("capset");
  if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0) fail("prctl");
}
