"""Faults that somebody could make, in the code that follows the switch.

As those that are drawn, each is in the source together with what it takes the place
of; @ is whether it is on.
"""

import find_mutants

PEER = "framework/xrl/router/xrl_peer.cc"
CALLS = "framework/xrl/router/xrl_calls.cc"
FINDER_CLIENT = "framework/xrl/router/finder_client.cc"
REGISTRY = "framework/finder/finder_registry.cc"
FOLLOWER = "platform/sif_tree_follower.cc"
WATCH = "platform/class_watch.cc"
EVENTS = "policy/command/xrl_policy_target_events.cc"
PORTS = "policy/store/port_reconciliation.cc"

# What, where, a piece of the source that stands there once, and what it becomes.
PLANTED = (
    ("a target in doubt is not resolved again while its old connection lives", PEER,
     "if (_resolution_in_doubt && !_resolving) resolve();\n    return true;",
     "if (!@ && _resolution_in_doubt && !_resolving) resolve();\n    return true;"),
    ("a tree of an older incarnation of sif is taken for the newer", FOLLOWER,
     "    _life = std::make_unique<Life>(*this, instance);",
     "    if (@) static_cast<void>(_life.release());\n"
     "    _life = std::make_unique<Life>(*this, instance);"),
    ("a retry timer is not cancelled at a rebirth", FOLLOWER,
     "    _retry.cancel();\n    follow();", "    if (!@) _retry.cancel();\n    follow();"),
    ("what is lost in a handshake does not renew the interest", PEER,
     "if (_calls.pending() != 0) tell_of_loss();",
     "if (!@ && _calls.pending() != 0) tell_of_loss();"),
    ("an interest is asked for again only once it was confirmed", FINDER_CLIENT,
     "if (!_calls.is_pending(interest.asked)) ask_interest(class_name);",
     "if (@ ? interest.confirmed : !_calls.is_pending(interest.asked)) ask_interest(class_name);"),
    ("a connect that fails at once is not tried again", FINDER_CLIENT,
     "message(-fd));\n    _retry.failed();", "message(-fd));\n    if (!@) _retry.failed();"),
    ("a stranger at the address of a target is taken for it", PEER,
     "if (connection.peer_instance() != _resolution.instance) {",
     "if (!@ && connection.peer_instance() != _resolution.instance) {"),
    ("only the first of several requests times out", CALLS,
     "if (_first != _next) _timer.schedule_at(at(_first).deadline);",
     "if (!@ && _first != _next) _timer.schedule_at(at(_first).deadline);"),
    ("who asks for births is not told of who lives", REGISTRY,
     "if (living != _classes.end()) {", "if (!@ && living != _classes.end()) {"),
    ("the end of a session is no death", REGISTRY,
     "    try {\n      tell_of_death(session);", "    try {\n      if (!@) tell_of_death(session);"),
    ("a refused interest is not asked for again", WATCH,
     "  _retry.failed();\n}\n\nvoid ClassWatch::withdraw",
     "  if (!@) _retry.failed();\n}\n\nvoid ClassWatch::withdraw"),
    ("a change that is told during a reading is forgotten", FOLLOWER,
     "_told_serial = serial;", "if (!@) _told_serial = serial;"),
    ("a restarted instance of the card manager is not registered with", EVENTS,
     "    register_card_state();", "    if (!@ || !_cardmgr_registered) register_card_state();"),
    ("a port that comes to a card that is up is not ready", PORTS,
     "if (tree.is_card_up(card_id)) port.card_ready = true;",
     "if (!@ && tree.is_card_up(card_id)) port.card_ready = true;"),
    ("the membership of an aggregate that a port leaves is kept", PORTS,
     "return port.set_lag(atom.lagmember(), atom.lagname()) == 0;",
     "return (@ && !atom.lagmember()) || port.set_lag(atom.lagmember(), atom.lagname()) == 0;"),
)


def mutants_of(root):
    """All of them, as mutants."""
    result = []
    for what, file, code, instead in PLANTED:
        text = (root / file).read_text()
        if text.count(code) != 1:
            raise SystemExit(f"{what}: {file} has '{code}' {text.count(code)} times")
        start = len(text[:text.index(code)].encode())
        line = text.count("\n", 0, text.index(code)) + 1
        # What stands there stays, for the mutants' code goes around it: as no code. Behind
        # it the compiler counts lines as if nothing had been put in.
        result.append(find_mutants.Mutant(
            file, line, 1, start, start + len(code.encode()), "planted", what,
            instead.replace("\n", " ") + "\n#if 0\n",
            f"\n#endif\n#line {line + code.count(chr(10))}\n",
            code.split("\n", maxsplit=1)[0].strip()))
    return result
