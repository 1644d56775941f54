#!/bin/sh
# reduction_test.sh PROGRAM: of 100 seeds that PROGRAM, which has a planted fault, draws
# one fails at least, and its 300 steps are reduced to ten at most.
set -eu
seed=$("$1" 1..100 | sed -n 's/^seed \([0-9]*\) FAILED$/\1/p' | sort -n | head -n 1)
echo "seed ${seed:?no seed fails}"
steps=$("$1" --reduce "$seed" | tee /dev/stderr | grep -c '^[a-z-]* [0-9]* [0-9]* [0-9]*$')
[ "$steps" -ge 1 ] && [ "$steps" -le 10 ]
