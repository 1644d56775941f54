#include "tools/policyctl/standard_output.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <string_view>

#include "tools/policyctl/change/replace_file.h"

int StandardOutput::finish() {
  const std::string_view pending(pbase(), static_cast<std::size_t>(pptr() - pbase()));
  if (_error == 0) _error = write_all(STDOUT_FILENO, pending);
  setp(_pending.data(), _pending.data() + _pending.size());
  return _error;
}

StandardOutput::int_type StandardOutput::overflow(int_type character) {
  if (sync() != 0) return traits_type::eof();
  if (traits_type::eq_int_type(character, traits_type::eof())) return 0;
  return sputc(traits_type::to_char_type(character));
}

void hold_closed_descriptors() {
  for (const int fd : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (fcntl(fd, F_GETFD) >= 0 || errno != EBADF) continue;
    // The lowest that is free, which is this one.
    (void)open("/dev/null", fd == STDIN_FILENO ? O_WRONLY : O_RDONLY);
  }
}
