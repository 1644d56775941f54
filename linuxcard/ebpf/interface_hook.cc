#include "linuxcard/ebpf/interface_hook.h"

#include <bpf/bpf.h>
#include <bpf/libbpf.h>

#include <array>
#include <cerrno>

#include "linuxcard/ebpf/loaded_list.h"

namespace {

// BPF_TCX_INGRESS, of newer kernels than the headers.
const auto TCX_INGRESS = [] {
  volatile std::uint32_t number = 46;
  return static_cast<bpf_attach_type>(number);
}();

// Ours among the filters of a clsact qdisc.
constexpr std::uint32_t FILTER_HANDLE = 0x706f;
constexpr std::uint32_t FILTER_PRIORITY = 0x706f;

constexpr std::uint32_t LOOPBACK = 1;

bpf_tc_hook hook_of(std::uint32_t ifindex) {
  bpf_tc_hook hook{};
  hook.sz = sizeof hook;
  hook.ifindex = static_cast<int>(ifindex);
  hook.attach_point = BPF_TC_INGRESS;
  return hook;
}

bpf_tc_opts filter() {
  bpf_tc_opts options{};
  options.sz = sizeof options;
  options.handle = FILTER_HANDLE;
  options.priority = FILTER_PRIORITY;
  return options;
}

}  // namespace

bool TcxHook::is_supported() {
  std::uint32_t count = 0;
  return bpf_prog_query(LOOPBACK, TCX_INGRESS, 0, nullptr, nullptr, &count) == 0;
}

std::vector<std::uint32_t> TcxHook::programs(std::uint32_t ifindex) const {
  std::array<std::uint32_t, 64> ids{};
  std::uint32_t count = ids.size();
  if (bpf_prog_query(static_cast<int>(ifindex), TCX_INGRESS, 0, nullptr, ids.data(), &count) != 0) {
    return {};
  }
  return {ids.begin(), ids.begin() + count};
}

void TcxHook::attach(std::uint32_t ifindex, int program, int old) {
  struct bpf_prog_attach_opts options {};
  options.sz = sizeof options;
  if (old >= 0) {
    options.flags = BPF_F_REPLACE;
    options.replace_prog_fd = old;
  }
  if (bpf_prog_attach_opts(program, static_cast<int>(ifindex), TCX_INGRESS, &options) != 0) {
    throw LoadError(errno, "cannot look at what comes in");
  }
}

void TcxHook::detach(std::uint32_t ifindex, int program) {
  if (bpf_prog_detach2(program, static_cast<int>(ifindex), TCX_INGRESS) != 0 && errno != ENODEV &&
      errno != ENOENT) {
    throw LoadError(errno, "cannot let go");
  }
}

std::vector<std::uint32_t> ClsactHook::programs(std::uint32_t ifindex) const {
  const bpf_tc_hook hook = hook_of(ifindex);
  bpf_tc_opts options = filter();
  if (bpf_tc_query(&hook, &options) != 0) return {};
  return {options.prog_id};
}

void ClsactHook::attach(std::uint32_t ifindex, int program, int /*old*/) {
  bpf_tc_hook hook = hook_of(ifindex);
  const int made = bpf_tc_hook_create(&hook);
  if (made != 0 && made != -EEXIST) throw LoadError(-made, "cannot look at what comes in");
  bpf_tc_opts options = filter();
  options.prog_fd = program;
  options.flags = BPF_TC_F_REPLACE;
  const int attached = bpf_tc_attach(&hook, &options);
  if (attached != 0) throw LoadError(-attached, "cannot look at what comes in");
}

void ClsactHook::detach(std::uint32_t ifindex, int /*program*/) {
  const bpf_tc_hook hook = hook_of(ifindex);
  const bpf_tc_opts options = filter();
  const int detached = bpf_tc_detach(&hook, &options);
  if (detached != 0 && detached != -ENODEV && detached != -ENOENT && detached != -EINVAL) {
    throw LoadError(-detached, "cannot let go");
  }
}
