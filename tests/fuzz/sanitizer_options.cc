// What a fuzz target has freed is watched for the next hundreds of inputs. Watching
// for longer would cost a page fault for nearly every input.
extern "C" const char* __asan_default_options();  // NOLINT(bugprone-reserved-identifier): its name

extern "C" const char* __asan_default_options() {
  return "quarantine_size_mb=4";
}
