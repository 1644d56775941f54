// What a test needs of the kernel and of its user; without that it is skipped, and says why.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include "linuxcard/ebpf/loaded_list.h"

#define NEEDS_ROOT() \
  if (geteuid() != 0) GTEST_SKIP() << "needs root"

// NOLINTNEXTLINE(bugprone-macro-parentheses)
#define NEEDS_BPF(form)                                                    \
  NEEDS_ROOT();                                                            \
  if ((form) == TableForm::ARENA && best_table_form() != TableForm::ARENA) \
  GTEST_SKIP() << "needs a kernel with BPF arenas"
