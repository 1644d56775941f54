# ./run --linux: policy that real packets obey. Two hosts and a switch between them, each a
# network namespace of its own; finder, policyd and linuxcard run in the switch's, and its
# ports are real ones to them. All of it is gone when this ends, however it ends.
#
# Sourced by ./run, of which it uses say, fail, call, quietly, start, await and await_line.

linux_name=policyd-run-$$
linux_folder=

in_switch() {
  nsenter --net=/run/netns/$linux_name-switch "$@"
}

clean_up_linux() {
  local pid name
  # The finder, which all others would miss, is the first and goes last.
  for ((pid = ${#pids[@]} - 1; pid >= 0; --pid)); do
    kill -KILL "${pids[pid]}" 2>/dev/null || true
  done
  for name in switch left right; do
    ip netns delete $linux_name-$name 2>/dev/null || true
  done
  if [ -n "$linux_folder" ]; then
    umount "$linux_folder/bpf" 2>/dev/null || true
    rm -rf "$linux_folder"
  fi
}

make_switch() {
  local side
  say "Making a switch of two ports and a host at each"
  linux_folder=$(mktemp -d)
  trap clean_up_linux EXIT
  trap 'exit 1' INT TERM
  mkdir "$linux_folder/bpf"
  mount -t bpf bpf "$linux_folder/bpf"
  ip netns add $linux_name-switch
  in_switch ip link set lo up
  in_switch ip link add br0 type bridge
  in_switch ip link set br0 up
  for side in left right; do
    ip netns add $linux_name-$side
    in_switch ip link add swp-$side type veth peer name eth0 netns $linux_name-$side
    in_switch ip link set swp-$side master br0 up
    nsenter --net=/run/netns/$linux_name-$side ip link set eth0 up
  done
  cat > "$linux_folder/linuxcard.conf" <<END
port 1/1/1 = swp-left
port 1/1/2 = swp-right
bridge = br0
END
  sed 's/^/    /' "$linux_folder/linuxcard.conf"
}

start_linux_processes() {
  say "Starting the finder, policyd and linuxcard on it"
  start nsenter --net=/run/netns/$linux_name-switch "$bin/finder" -p 0
  await_line finder
  finder=${line##* }
  start nsenter --net=/run/netns/$linux_name-switch "$bin/linuxcard" -F "$finder" --pins "$linux_folder/bpf/linuxcard" \
    "$linux_folder/linuxcard.conf"
  await_line linuxcard
  start nsenter --net=/run/netns/$linux_name-switch "$bin/policyd" -F "$finder"
  linux_call -w finder://policy/common/0.1/get_status
}

linux_call() {
  printf '$ call_xrl -F %s %s\n' "$finder" "$*"
  linux_quietly "$@"
}

linux_quietly() {
  in_switch "$bin/call_xrl" -F "$finder" "$@"
}

# What the edge of a network lets in; from the left.
edge_policy() {
  cat <<'END'
policy_config/0.1/create_acl?acl:u32=10&type:u32=0
policy_config/0.1/create_rule?acl:u32=10&rule:u32=10&action:u32=0&flags:list=:u32=7&values:list=:txt=10.66.0.0%2F16
policy_config/0.1/create_rule?acl:u32=10&rule:u32=20&action:u32=0&flags:list=:u32=11,:u32=13&values:list=:txt=6,:txt=23
policy_config/0.1/create_rule?acl:u32=10&rule:u32=30&action:u32=0&flags:list=:u32=11,:u32=13&values:list=:txt=17,:txt=135-139
policy_config/0.1/create_rule?acl:u32=10&rule:u32=40&action:u32=0&flags:list=:u32=24&values:list=:txt=not-first
policy_config/0.1/create_rule?acl:u32=10&rule:u32=50&action:u32=1&flags:list=:u32=11,:u32=13&values:list=:txt=17,:txt=5060
policy_config/0.1/create_rule?acl:u32=10&rule:u32=60&action:u32=0&flags:list=:u32=9&values:list=:txt=2001%3Adb8%3A66%3A%3A%2F48
policy_config/0.1/set_port_packet_filter?ifname:txt=1/1/1&acl:u32=10&rule:u32=10
policy_config/0.1/set_port_packet_filter?ifname:txt=1/1/1&acl:u32=10&rule:u32=20
policy_config/0.1/set_port_packet_filter?ifname:txt=1/1/1&acl:u32=10&rule:u32=30
policy_config/0.1/set_port_packet_filter?ifname:txt=1/1/1&acl:u32=10&rule:u32=40
policy_config/0.1/set_port_packet_filter?ifname:txt=1/1/1&acl:u32=10&rule:u32=50
policy_config/0.1/set_port_packet_filter?ifname:txt=1/1/1&acl:u32=10&rule:u32=60
policy_config/0.1/remark_port_priority?ifname:txt=1/1/1&acl_id:u32=10&rule_id:u32=50&kind:u32=0&value:u32=46
END
}

# The rules of a set, bound in their order to the port on the right.
bind_rule_set() {
  local file=$1 count
  count=$("$bin/classbench2xrl" --acl 20 "$file" | linux_quietly - | grep -c '^100')
  echo "$((count - 1)) rules of $file are ACL 20"
  seq 1 $((count - 1)) |
    sed 's|.*|finder://policy/policy_config/0.1/set_port_packet_filter?ifname:txt=1/1/2\&acl:u32=20\&rule:u32=&|' |
    linux_quietly - | sort | uniq -c
}

linux_is_following() {
  linux_quietly finder://linuxcard/linuxcard/0.1/get_policy | sed 's/&.*//'
}

show_linux() {
  local file=examples/classbench-acl1-$rules.rules
  say "Setting a policy for what comes in on the left, and a filter set on the right"
  await value:u32=0 linux_quietly \
    'finder://policy/policy_config/0.1/get_port_cos_value?ifname:txt=1/1/2'
  edge_policy | sed 's|^|finder://policy/|' | tee /dev/stderr | linux_quietly - | sort | uniq -c
  bind_rule_set "$file"
  await state:txt=following linux_is_following
  # In force once what is in force is what policyd says now.
  await 1 linux_is_up_to_date
  linux_call finder://linuxcard/linuxcard/0.1/get_policy
  linux_call finder://linuxcard/linuxcard/0.1/get_ports
  say "Sending packets from left to right"
  tools/run_linux_packets.py /run/netns/$linux_name-left /run/netns/$linux_name-right
  say "What the rules decided"
  sleep 2
  show_rule_counters
}

linux_is_up_to_date() {
  local in_force now
  in_force=$(linux_quietly finder://linuxcard/linuxcard/0.1/get_policy | sed 's/.*serial:u64=\([0-9]*\).*/\1/')
  now=$(linux_quietly finder://policy/statistics/0.1/get_changes | sed 's/.*=//')
  if [ "$in_force" = "$now" ]; then echo 1; else echo 0; fi
}

show_rule_counters() {
  local answer
  answer=$(linux_quietly finder://linuxcard/acl_counters/0.1/get_rule_counters)
  printf '  acl  rule  packets   bytes\n'
  paste <(counters acls) <(counters rules) <(counters packets) <(counters bytes) <<< "" |
    awk '$3 > 0 {printf "%5d %5d %8d %7d\n", $1, $2, $3, $4}'
}

counters() {
  sed "s/.*$1:list=\([^&]*\).*/\1/; s/:u[0-9]*=//g" <<< "$answer" | tr ',' '\n'
}

leave_linux() {
  say "Leaving in order"
  linux_call finder://policy/common/0.1/shutdown finder://linuxcard/common/0.1/shutdown
  in_switch "$bin/linuxcard" --remove --pins "$linux_folder/bpf/linuxcard"
}

run_linux() {
  if [ "$(id -u)" != 0 ]; then
    echo "./run --linux needs root: it makes network namespaces and loads programs into the kernel."
    exit 0
  fi
  make_switch
  start_linux_processes
  show_linux
  leave_linux
}
