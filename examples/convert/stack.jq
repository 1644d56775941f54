# The interface listing of a stack, a line an interface: UNIT/SLOT/PORT first,
# the VLAN of untagged frames eighth. The heading and the management port have
# no such name; a port without such a VLAN says N/A.
include "description";

[inputs
 | [splits(" +")]
 | select(.[0] | test("^[0-9]+/[0-9]+/[0-9]+$"))
 | {name: .[0], place: (.[0] | split("/") | map(tonumber)), vlan: .[7]}]
| description(
    map(.name);
    map(.vlan | select(test("^[0-9]+$")) | tonumber) | unique;
    map(.place[0:2]) | unique | map(card_id(.[0]; .[1])))
