// The cookie: an optional secret that every process of a switch must show in
// its handshake. It is read from a file that only its owner may read, named by
// the environment variable XRL_COOKIE_FILE.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

// Fits a hello frame.
inline constexpr std::size_t MIN_COOKIE_BYTES = 16;
inline constexpr std::size_t MAX_COOKIE_BYTES = 255;

// Sets `cookie` to what the file holds, any bytes, without one line break at
// its end. Refused, `cookie` unchanged and `error` one line that names the
// file, unless it is a regular file of this process's effective user, of mode
// 0600 or stricter, with 16 to 255 bytes of cookie.
[[nodiscard]] bool read_cookie_file(const std::string& path, std::string& cookie,
                                    std::string& error);

// As read_cookie_file() for the file that XRL_COOKIE_FILE names; an empty
// cookie, and true, when it is not set or empty.
[[nodiscard]] bool read_cookie_from_environment(std::string& cookie, std::string& error);

// Whether both are equal, in a time that does not tell where they differ.
[[nodiscard]] bool cookies_match(std::string_view a, std::string_view b);
