# System ports of a modular chassis, "HOST|CHIP|PORT" by key. The host's name
# ends in the slot. A front port is named Ethernet and a number; recirculation,
# inband and processor ports are internal to a card and left out.
include "description";

[to_entries[]
 | (.key | capture("lc(?<slot>[0-9]+)\\|[^|]*\\|Ethernet[0-9]+$")) as $port
 | {slot: ($port.slot | tonumber), id: .value.system_port_id}]
| group_by(.slot)
| map(sort_by(.id) | to_entries | map("eth-0/\(.value.slot)/\(.key + 1)")) as $names_by_slot
| map(card_id(0; .[0].slot)) as $cards
| description($names_by_slot | add; [10, 20, 30]; $cards)
