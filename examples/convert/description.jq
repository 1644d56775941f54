# The description of a switch as the simulated chassis reads it, an interface a line.
def description($names; $vlans; $cards):
  "{\n  \"interfaces\": [\n"
  + ($names | map("    " + ({name: .} | tojson)) | join(",\n"))
  + "\n  ],\n  \"vlans\": " + ($vlans | tojson)
  + ",\n  \"cards\": " + ($cards | tojson) + "\n}";

# The card in a slot of a unit, as the control plane numbers cards.
def card_id($unit; $slot): 16 + 256 * $unit + $slot;
