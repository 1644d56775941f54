# Class-of-service tables of a switch: a map to traffic classes ($table) chained
# through the map from traffic classes to egress queues, as one request.
def list: map(":u32=\(.)") | join(",");

.TC_TO_QUEUE_MAP.AZURE as $queue_of
| .[$table].AZURE
| to_entries
| map({value: (.key | tonumber), queue: $queue_of[.value]})
| sort_by(.value)
| "finder://policy/policy_config/0.1/\($method)?\($argument):list=\(map(.value) | list)"
  + "&queues:list=\(map(.queue) | list)"
