// The common vocabulary of the control plane's processes: the names under
// which they find each other, trace levels and link types. All twenty stay,
// in this order, whichever of them a process uses.
#pragma once

#include <array>
#include <cstddef>

// What stands where in the table.
enum WellKnownName : std::size_t {
  NAME_FINDER,
  NAME_CARD_MANAGER,
  NAME_LCMGR,
  NAME_FDB,
  NAME_VLAN,
  NAME_SIF,
  NAME_SWITCH_MIRROR,
  NAME_POLICY,
  NAME_STAT,
  NAME_LLDP,
  NAME_RSTP,
  NAME_SNMP,
  NAME_LACP,
  NAME_TUNTAP,
  NAME_TRACE_LEVEL_XRL,
  NAME_TRACE_LEVEL_API,
  NAME_TRACE_LEVEL_SDK,
  NAME_TRACE_LEVEL_ALL,
  NAME_LINK_POINT_TO_POINT,
  NAME_LINK_SHARED,
  WELL_KNOWN_NAME_COUNT,
};

// Each unit has its own copy, so that it may be read at any time of the
// process's life.
static constexpr std::array<const char*, WELL_KNOWN_NAME_COUNT> well_known_names{
    "finder",
    "card_manager",
    "lcmgr",
    "fdb",
    "vlan",
    "sif",
    "switch_mirror",
    "policy",
    "stat",
    "lldp",
    "rstp",
    "snmp",
    "lacp",
    "tuntap",
    "trace_level_xrl",
    "trace_level_api",
    "trace_level_sdk",
    "trace_level_all",
    "point-to-point",
    "shared",
};
