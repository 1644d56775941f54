// What a fuzz target has freed is watched for the next hundreds of inputs, and of what
// it takes the last calls are remembered. Watching for longer would cost a page fault
// for nearly every input, and remembering more, time for each allocation.
extern "C" const char* __asan_default_options();  // NOLINT(bugprone-reserved-identifier): its name

extern "C" const char* __asan_default_options() {
  return "quarantine_size_mb=4:malloc_context_size=6";
}
