// Memory of a process that serves many peers for long.
#pragma once

// Lets each block of 128 KiB and more come from the kernel by itself and go back there
// when it is freed. Left alone, the allocator moves that size up with what is freed: the
// buffers of many peers that grow side by side then leave holes that none of them fits, a
// third above what they need, and what one big request took stays with the process.
// To be called before the first big block.
void return_large_blocks();
