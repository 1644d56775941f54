# The part of ./run about access control lists: a packet filter set as one ACL,
# a rule a line, bound to ports and VLANs, remarked, and deleted at last. Sourced
# there; uses its say, fail, call, quietly, $bin and $finder.

rules_acl=10

policy() {
  "$1" "finder://policy/policy_config/0.1/$2"
}

microseconds() {
  echo "${EPOCHREALTIME//[.,]/}"  # whatever the locale puts before the fraction
}

# load_rules FILE: creates the ACL and its rules; tells how fast.
load_rules() {
  local begin end answers created
  printf '$ %s --acl %d %s | %s -F %s -\n' \
    "$bin/classbench2xrl" $rules_acl "$1" "$bin/call_xrl" "$finder"
  begin=$(microseconds)
  answers=$("$bin/classbench2xrl" --acl $rules_acl "$1" | quietly -) ||
    fail "not all rules were taken: $(grep -v '^100 ' <<< "$answers" | head -n 1)"
  end=$(microseconds)
  created=$(($(wc -l <<< "$answers") - 1))
  [ "$created" -eq "$(wc -l < "$1")" ] || fail "$created rules came of $1"
  printf '%d rules in %d ms: %d rules a second, starting both programs included\n' \
    "$created" $(((end - begin) / 1000)) $((created * 1000000 / (end - begin)))
}

show_rules() {
  policy quietly "get_rules?acl:u32=$rules_acl" | sed 's/.*rules:list=\([^&]*\).*/\1/' |
    awk -F, '{ printf "the ACL has %d rules, from %s to %s; the first of them:\n", NF, $1, $NF }' |
    sed 's/:u32=//g'
  policy call "get_rule?acl:u32=$rules_acl&rule:u32=1"
}

bind_rules() {
  local rule="acl:u32=$rules_acl&rule:u32="
  policy call "set_port_packet_filter?ifname:txt=eth-0/3/1&${rule}1"
  policy call "set_port_packet_filter?ifname:txt=eth-0/3/1&${rule}2"
  policy call "set_port_packet_filter?ifname:txt=eth-0/10/48&${rule}2"
  policy call "set_vlan_packet_filter?vlan:u32=10&${rule}3"
  policy call "set_vlan_packet_filter?vlan:u32=20&${rule}3"
  policy call "set_all_ports_packet_filter?${rule}4"
}

show_bindings() {
  policy call 'get_port_packet_filters?ifname:txt=eth-0/3/1'
  policy call 'get_port_packet_filters?ifname:txt=eth-0/7/1'
  policy call 'get_vlan_packet_filters?vlan:u32=10'
}

# Kind 0 sets a DSCP value, kind 1 a priority.
remark_rules() {
  local rule="acl_id:u32=$rules_acl&rule_id:u32="
  policy call "remark_port_priority?ifname:txt=eth-0/3/1&${rule}1&kind:u32=0&value:u32=46"
  policy call "remark_port_priority?ifname:txt=eth-0/3/1&${rule}2&kind:u32=1&value:u32=5"
  policy call 'get_port_remark?ifname:txt=eth-0/3/1'
}

refuse_deletion() {
  ! policy call "delete_acl?acl:u32=$rules_acl" || fail "a bound ACL was deleted"
  ! policy call "delete_rule?acl:u32=$rules_acl&rule:u32=3" || fail "a bound rule was deleted"
}

unbind_rules() {
  local rule="acl:u32=$rules_acl&rule:u32="
  policy call "delete_all_ports_packet_filter?${rule}4"
  policy call "delete_vlan_packet_filter?vlan:u32=10&${rule}3"
  policy call clear_all_packet_filters
  policy call 'clear_port_remark?ifname:txt=eth-0/3/1'
  policy call "delete_acl?acl:u32=$rules_acl"
  policy call get_acls
}

show_rule_set() {
  say "Loading $1 as one ACL"
  load_rules "$1"
  show_rules
  say "Binding rules to ports and VLANs"
  bind_rules
  show_bindings
  say "Remarking what bound rules match"
  remark_rules
  say "What is bound cannot be deleted; policyd logs which port holds the ACL"
  refuse_deletion
  say "Unbinding, and deleting the ACL"
  unbind_rules
}
