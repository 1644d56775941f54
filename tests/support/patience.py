"""How long any wait of a test may take before the test is called failed, in seconds.
Nothing waits this long when all is well. The same as in patience.h."""

PATIENCE_S = 60
