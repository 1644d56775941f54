// Whether this build has a sanitizer that takes memory and address space of its own,
// far more than what is tested.
#pragma once

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
inline constexpr bool SANITIZER_TAKES_MEMORY = true;
#elif defined(__has_feature)
inline constexpr bool SANITIZER_TAKES_MEMORY =
    __has_feature(address_sanitizer) || __has_feature(thread_sanitizer);
#else
inline constexpr bool SANITIZER_TAKES_MEMORY = false;
#endif
