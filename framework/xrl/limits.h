// Every limit of the request framework, in one place. What comes from the
// network is held against these before anything is allocated for it.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>

namespace xrl_limits {

// Largest frame after its length field, once the handshake is done.
inline constexpr std::uint32_t MAX_FRAME_BYTES = 16U << 20U;
// Largest frame that is a reply: a target lists more than one request brings, for
// instance 100,000 access lists with descriptions of 165 bytes.
inline constexpr std::uint32_t MAX_REPLY_BYTES = 24U << 20U;
// Largest frame before the handshake is done.
inline constexpr std::uint32_t MAX_HELLO_BYTES = 1024;
// Largest text or binary value.
inline constexpr std::uint32_t MAX_TEXT_BYTES = 1U << 20U;
// Largest name of an argument or of a list element.
inline constexpr std::size_t MAX_NAME_BYTES = 255;
// Arguments of one request or reply; methods have a few.
inline constexpr std::size_t MAX_ARGUMENTS = 1024;
// Elements of one list.
inline constexpr std::uint32_t MAX_LIST_ELEMENTS = 1U << 20U;
// A list within a list within ... this many lists.
inline constexpr std::size_t MAX_LIST_DEPTH = 8;

// Connections that one listener keeps; past it the one that has been silent
// longest goes, first of those still in the handshake.
inline constexpr std::size_t MAX_CONNECTIONS = 4096;
// From an attempt to take connections for which the kernel has no memory to the
// next.
inline constexpr std::chrono::milliseconds ACCEPT_PAUSE{100};
// Of MAX_CONNECTIONS, those still in the handshake.
inline constexpr std::size_t MAX_HANDSHAKES = 256;
// Memory that all peers of one process together make it hold for unfinished
// frames and for what they have not taken; past it the connection that holds
// most goes. Room for the largest frame three times over beside all else, each
// in a buffer that has grown to twice what it holds.
inline constexpr std::size_t MAX_BUFFERED_BYTES = 128U << 20U;
// Buffer that a connection keeps for its next answers while it has none.
inline constexpr std::size_t KEPT_OUTPUT_BYTES = 8U << 10U;

// Name of a target; the finder takes none that is longer, so it is not asked for
// one: send() answers false.
inline constexpr std::size_t MAX_TARGET_NAME_BYTES = 128;
// Targets that one router has connections to or asks for; past it the one that
// was asked longest ago goes, unless each awaits a reply: then send() answers
// false. A switch has a few dozen targets.
inline constexpr std::size_t MAX_PEERS = 512;
// Requests to one peer that await a reply; past it send() answers false.
inline constexpr std::size_t MAX_REQUESTS_IN_FLIGHT = 65536;
// The same, to all peers of one router together: some 32 MB of what awaits them. The
// largest switch has 64 line cards of 64 ports with 8 priorities, a quarter of that.
inline constexpr std::size_t MAX_REQUESTS_TOGETHER = 131072;
// Requests to one peer that time out in one turn; those behind them do in the next, so
// that many silent peers starve nobody.
inline constexpr std::size_t MAX_TIMEOUTS_PER_TURN = 64;
// Requests to one peer from the oldest that awaits a reply to the youngest,
// those between that were answered included; past it send() answers false. A peer
// that leaves one unanswered while it answers the rest is behind it.
inline constexpr std::size_t MAX_REQUESTS_SPANNED = 1U << 20U;
// Bytes of requests to one peer that wait to be written; past it send() answers
// false. To the finder: of all arguments that await an answer, as they may have to
// go again.
inline constexpr std::size_t MAX_REQUEST_BYTES_QUEUED = 32U << 20U;
// Requests to the finder that await an answer; past it send() answers false. As
// many again are kept for what a session begins with; past that the session ends
// and begins anew.
inline constexpr std::size_t MAX_FINDER_REQUESTS = 4096;
// Bytes of replies to one peer that wait to be written; past it no further
// request of that peer is read until it reads its replies.
inline constexpr std::size_t REPLY_BYTES_HIGH_WATER = 1U << 20U;
// Bytes taken from one connection in one turn, so that none starves others.
inline constexpr std::size_t MAX_READ_PER_TURN = 256U << 10U;
// Time that the requests of one connection take in one turn, so that none starves
// others: what is left of them waits for the next turn.
inline constexpr std::chrono::milliseconds MAX_TIME_PER_TURN{5};
// After an answer of so many bytes the clock is looked at at once.
inline constexpr std::size_t LONG_ANSWER_BYTES = 64U << 10U;
// Requests between two looks at the clock.
inline constexpr unsigned REQUESTS_PER_LOOK = 16;

// From sending a request to giving up on its reply.
inline constexpr std::chrono::seconds REPLY_TIMEOUT{30};
// From accepting (or starting) a connection to the end of its handshake.
inline constexpr std::chrono::seconds HANDSHAKE_TIMEOUT{5};
// A peer that takes none of the bytes written to it for this long goes.
inline constexpr std::chrono::seconds WRITE_STALL_TIMEOUT{30};

// Between attempts to reach the finder again, doubling from the first to the
// second; a finder on this host is cheap to ask and is asked more often.
inline constexpr std::chrono::milliseconds RECONNECT_MIN{100};
inline constexpr std::chrono::milliseconds RECONNECT_MAX{5000};
inline constexpr std::chrono::milliseconds RECONNECT_MAX_LOOPBACK{400};

}  // namespace xrl_limits
