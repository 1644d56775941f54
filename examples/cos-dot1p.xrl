finder://policy/policy_config/0.1/set_cos_mapping?priorities:list=:u32=0,:u32=1,:u32=2,:u32=3,:u32=4,:u32=5,:u32=6,:u32=7&queues:list=:u32=1,:u32=0,:u32=2,:u32=3,:u32=4,:u32=5,:u32=6,:u32=7
