// The parts of store_bench. Each prints its tables; `largest` bounds the sizes
// that it goes up to.
#pragma once

#include <cstddef>

// Memory of a rule and of a binding. False when one takes more than it may.
bool measure_memory(std::size_t largest);

// Commands that ask about one thing, at growing stores. False when one grows
// faster than it may.
bool measure_growth(std::size_t largest);

// Commands that ask about many things, at growing numbers of these.
void measure_whole(std::size_t largest);

// Every command once, on a large store: how long each keeps the loop.
void measure_longest(std::size_t largest);
