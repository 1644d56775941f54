/* What a packet meets at an interface: the program of one list of rules.
 *
 * It is built twice. With TABLES_IN_ARENA its tables are memory that is read directly;
 * otherwise, for kernels and users without arenas, an array map, line by line.
 *
 * Each field of a packet is there, or absent, or cannot be read because the frame ends
 * before it or too much stands before it. docs/data-path.md says which is when. */
#include <linux/bpf.h>
#include <linux/pkt_cls.h>

#include <bpf/bpf_endian.h>
#include <bpf/bpf_helpers.h>

#include "linuxcard/classifier/table_layout.h"

#define INLINE static __attribute__((always_inline)) inline
#define BARRIER(variable) asm volatile("" : "+r"(variable))

typedef __u8 u8;
typedef __u16 u16;
typedef __u32 u32;
typedef __u64 u64;

const volatile struct ListHeader list SEC(".rodata.list") = {};

struct {
  __uint(type, BPF_MAP_TYPE_PERCPU_ARRAY);
  __uint(max_entries, 1);
  __type(key, u32);
  __type(value, struct HitsBlock);
} hits SEC(".maps");

struct {
  __uint(type, BPF_MAP_TYPE_HASH);
  __uint(max_entries, 1);
  __type(key, u32);
  __type(value, struct InterfaceFacts);
} interfaces SEC(".maps");

/* The program of the list that is asked when no rule of this one matches. */
struct {
  __uint(type, BPF_MAP_TYPE_PROG_ARRAY);
  __uint(max_entries, 1);
  __type(key, u32);
  __type(value, u32);
} next SEC(".maps");

#ifdef TABLES_IN_ARENA

struct {
  __uint(type, 33); /* BPF_MAP_TYPE_ARENA, which older headers do not know */
  __uint(map_flags, BPF_F_MMAPABLE);
  __uint(max_entries, 1);
} tables SEC(".maps");

/* rN = addr_space_cast(rN, 0, 1), which clang 14 cannot write by itself. */
#define CAST_ARENA(pointer)                                                              \
  asm volatile(                                                                          \
      ".byte 0xbf\n\t"                                                                   \
      ".ifc %[p],r0\n\t.byte 0x00\n\t.endif\n\t.ifc %[p],r1\n\t.byte 0x11\n\t.endif\n\t" \
      ".ifc %[p],r2\n\t.byte 0x22\n\t.endif\n\t.ifc %[p],r3\n\t.byte 0x33\n\t.endif\n\t" \
      ".ifc %[p],r4\n\t.byte 0x44\n\t.endif\n\t.ifc %[p],r5\n\t.byte 0x55\n\t.endif\n\t" \
      ".ifc %[p],r6\n\t.byte 0x66\n\t.endif\n\t.ifc %[p],r7\n\t.byte 0x77\n\t.endif\n\t" \
      ".ifc %[p],r8\n\t.byte 0x88\n\t.endif\n\t.ifc %[p],r9\n\t.byte 0x99\n\t.endif\n\t" \
      ".short 1\n\t.long 1"                                                              \
      : [p] "+r"(pointer))

#define LOAD(type, result, cell, otherwise)                             \
  do {                                                                  \
    u64 pointer_ = (u64)(u32)((u32)list.arena_address + (u32)(cell)*4); \
    CAST_ARENA(pointer_);                                               \
    (result) = *(type*)pointer_;                                        \
  } while (0)

/* The verifier ties the program to its arena where it sees it loaded. */
#define TIE_TO_TABLES() asm volatile("" ::"r"(&tables))

#else

struct Line {
  u32 cell[LINE_CELLS];
};

struct {
  __uint(type, BPF_MAP_TYPE_ARRAY);
  __uint(map_flags, BPF_F_MMAPABLE);
  __uint(max_entries, 1);
  __type(key, u32);
  __type(value, struct Line);
} tables SEC(".maps");

/* A line that is not there cannot be: the compiler refers to nothing beyond the end. */
#define LOAD(type, result, cell, otherwise)                              \
  do {                                                                   \
    u32 cell_ = (cell);                                                  \
    u32 line_ = cell_ / LINE_CELLS;                                      \
    const u8* found_ = bpf_map_lookup_elem(&tables, &line_);             \
    if (!found_) otherwise;                                              \
    u32 offset_ = (cell_ % LINE_CELLS) * 4 & (64 - sizeof(type));        \
    BARRIER(offset_);                                                    \
    (result) = *(const type*)(found_ + (offset_ & (64 - sizeof(type)))); \
  } while (0)

#define TIE_TO_TABLES()

#endif

/* The fields that are there or not together. */
enum Group {
  TAG = 1 << 0,
  INNER_TAG = 1 << 1,
  TYPE = 1 << 2,
  ARP = 1 << 3,
  IPV4 = 1 << 4,
  IPV6 = 1 << 5,
  IP = 1 << 6,
  FRAGMENT = 1 << 7,
  OPTIONS = 1 << 8,
  PROTOCOL = 1 << 9,
  PORTS = 1 << 10,
  TCP = 1 << 11,
  ICMP = 1 << 12,
  ICMP6 = 1 << 13,
  IGMP = 1 << 14,
  ALWAYS = 1 << 15,
  BOUND_VLAN = 1 << 16,
  OF_IPV4 = IPV4 | IP | FRAGMENT | OPTIONS | PROTOCOL | PORTS | TCP | ICMP | IGMP,
  OF_IPV6 = IPV6 | IP | FRAGMENT | OPTIONS | PROTOCOL | PORTS | TCP | ICMP6,
  BEHIND_TAGS = TYPE | ARP | OF_IPV4 | OF_IPV6,
};

enum {
  MAX_TAGS = 4,
  MAX_EXTENSIONS = 8, /* headers of IPv6 */
  MAX_OFFSET = 0x3fff,
};

struct Packet {
  u32 present;
  u32 unreadable;
  u16 tag;
  u16 inner_tag;
  u16 bound_vlan;
  u16 slot;
  u16 type;
  u16 arp_operation;
  u32 l3; /* offset in the frame */
  u32 src4;
  u32 dst4;
  u64 src6[2];
  u64 dst6[2];
  u32 flow_label;
  u32 length;
  u8 traffic_class;
  u8 ttl;
  u8 fragment;
  u8 options;
  u8 protocol;
  u8 type8; /* of ICMP, ICMPv6 or IGMP */
  u8 code8;
  u8 tcp[2];
  u16 src_port;
  u16 dst_port;
  u8 mac[12] __attribute__((aligned(8))); /* destination, source */
};

/* By whole words: the kernel's machines load them from anywhere, and `to` begins at one. */
INLINE void copy(void* to, const u8* from, u32 size) {
#pragma clang loop unroll(full)
  for (u32 i = 0; i < size / 8; ++i) ((u64*)to)[i] = ((const u64*)from)[i];
  if (size & 4) *(u32*)((u8*)to + (size & ~7u)) = *(const u32*)(from + (size & ~7u));
  if (size & 2) *(u16*)((u8*)to + (size & ~3u)) = *(const u16*)(from + (size & ~3u));
}

/* Copies `size` bytes at `offset`, an even number but for one byte, to a place for words;
 * false when the frame ends before that. */
INLINE int read(struct __sk_buff* skb, u32 offset, void* to, u32 size) {
  if (offset > MAX_OFFSET) return 0;
  u64 at = offset & MAX_OFFSET;
  BARRIER(at);
  const u8* from = (const u8*)(long)skb->data + (at & MAX_OFFSET);
  if (from + size <= (const u8*)(long)skb->data_end) {
    if (size == 1) {
      *(u8*)to = *from;
    } else {
      copy(to, from, size);
    }
    return 1;
  }
  return bpf_skb_load_bytes(skb, offset, to, size) == 0;
}

/* Of an even place. */
INLINE u16 be16(const u8* bytes) {
  return bpf_ntohs(*(const u16*)bytes);
}

#define WORDS __attribute__((aligned(8)))
#define ASKS_MACS (list.dimensions >> DIM_SRC_MAC != 0)

INLINE int is_tag(u16 type) {
  return type == 0x8100 || type == 0x88a8;
}

/* A function that the verifier looks at once, not wherever it is called: the time of
 * loading is that of following every way through the code. */
#define APART __attribute__((noinline))

/* Ports, flags, types: what is behind the last header of IP, which ends at `end`. */
APART int parse_transport(struct __sk_buff* skb, struct Packet* p, u32 l4, u32 end, int is_ipv6) {
  if (!p) return 0;
  u8 head[16] WORDS;
  u32 room = end > l4 ? end - l4 : 0;
  switch (p->protocol) {
    case 6:
      if (room >= 14 && read(skb, l4, head, 14)) {
        p->tcp[0] = head[12];
        p->tcp[1] = head[13];
        p->present |= TCP | PORTS;
      } else if (room >= 4 && read(skb, l4, head, 4)) {
        p->unreadable |= TCP;
        p->present |= PORTS;
      } else {
        p->unreadable |= TCP | PORTS;
        return 0;
      }
      break;
    case 17:
    case 132:
      if (room < 4 || !read(skb, l4, head, 4)) {
        p->unreadable |= PORTS;
        return 0;
      }
      p->present |= PORTS;
      break;
    case 1:
    case 58: {
      if (is_ipv6 != (p->protocol == 58)) return 0;
      u32 group = is_ipv6 ? ICMP6 : ICMP;
      if (room < 2 || !read(skb, l4, head, 2)) {
        p->unreadable |= group;
        return 0;
      }
      p->type8 = head[0];
      p->code8 = head[1];
      p->present |= group;
      return 0;
    }
    case 2:
      if (is_ipv6) return 0;
      if (room < 1 || !read(skb, l4, head, 1)) {
        p->unreadable |= IGMP;
        return 0;
      }
      p->type8 = head[0];
      p->present |= IGMP;
      return 0;
    default:
      return 0;
  }
  p->src_port = be16(head);
  p->dst_port = be16(head + 2);
  return 0;
}

/* A frame that the kernel merged out of several is as long as the longest of them. */
INLINE void note_length(struct __sk_buff* skb, struct Packet* p, u32 length) {
  p->length = length > 0xffff ? 0xffff : length;
}

APART int parse_ipv4(struct __sk_buff* skb, struct Packet* p) {
  if (!p) return 0;
  u8 head[20] WORDS;
  u32 frame = skb->len;
  if (!read(skb, p->l3, head, 20)) goto unreadable;
  u32 header = (head[0] & 15) * 4;
  u32 length = be16(head + 2);
  /* Packets beyond 64 KiB, which no wire carries, have no length here. */
  if (length == 0) length = frame - p->l3;
  if (head[0] >> 4 != 4 || header < 20 || header > length || p->l3 + header > frame) {
    goto unreadable;
  }
  u32 end = p->l3 + length;
  if (end > frame) end = frame;
  u16 fragment = be16(head + 6);
  note_length(skb, p, length);
  p->traffic_class = head[1];
  p->ttl = head[8];
  p->protocol = head[9];
  p->src4 = bpf_ntohl(*(u32*)(head + 12));
  p->dst4 = bpf_ntohl(*(u32*)(head + 16));
  p->options = header > 20;
  p->fragment = fragment & 0x1fff   ? FRAGMENT_LATER
                : fragment & 0x2000 ? FRAGMENT_FIRST
                                    : FRAGMENT_NONE;
  p->present |= IPV4 | IP | FRAGMENT | OPTIONS | PROTOCOL;
  if (p->fragment != FRAGMENT_LATER) parse_transport(skb, p, p->l3 + header, end, 0);
  return 0;
unreadable:
  p->unreadable |= OF_IPV4;
  return 0;
}

INLINE int is_extension(u8 header) {
  return header == 0 || header == 43 || header == 44 || header == 51 || header == 60 ||
         header == 135 || header == 139 || header == 140;
}

APART int parse_ipv6(struct __sk_buff* skb, struct Packet* p) {
  if (!p) return 0;
  u8 head[40] WORDS;
  u32 frame = skb->len;
  if (!read(skb, p->l3, head, 40) || head[0] >> 4 != 6) {
    p->unreadable |= OF_IPV6;
    return 0;
  }
  u32 payload = be16(head + 4);
  u32 at = p->l3 + 40;
  u32 end = at + payload;
  if (payload == 0 || end > frame) end = frame; /* 0: a jumbogram */
  note_length(skb, p, payload ? 40 + payload : frame - p->l3);
  p->traffic_class = (u8)(head[0] << 4 | head[1] >> 4);
  p->flow_label = (u32)(head[1] & 15) << 16 | be16(head + 2);
  p->ttl = head[7];
  p->src6[0] = bpf_be64_to_cpu(*(u64*)(head + 8));
  p->src6[1] = bpf_be64_to_cpu(*(u64*)(head + 16));
  p->dst6[0] = bpf_be64_to_cpu(*(u64*)(head + 24));
  p->dst6[1] = bpf_be64_to_cpu(*(u64*)(head + 32));
  p->fragment = FRAGMENT_NONE;
  p->protocol = head[6];
  p->options = is_extension(head[6]);
  p->present |= IPV6 | IP | OPTIONS;

  int saw_fragment = 0;
#pragma clang loop unroll(disable)
  for (int i = 0; i < MAX_EXTENSIONS; ++i) {
    if (!is_extension(p->protocol)) break;
    u8 extension[8] WORDS;
    if (at + 8 > end || !read(skb, at, extension, 8)) break;
    u8 kind = p->protocol;
    if (kind == 44) {
      u16 place = be16(extension + 2);
      at += 8;
      if (place & 0xfff9 && !saw_fragment) { /* not the only one of its packet */
        p->fragment = place & 0xfff8 ? FRAGMENT_LATER : FRAGMENT_FIRST;
      }
      saw_fragment = 1;
    } else if (kind == 51) {
      at += (extension[1] + 2) * 4;
    } else {
      at += (extension[1] + 1) * 8;
    }
    p->protocol = extension[0];
    if (p->fragment == FRAGMENT_LATER) break;
  }
  if (is_extension(p->protocol)) {
    p->unreadable |= PROTOCOL | PORTS | TCP | ICMP6;
    if (saw_fragment) {
      p->present |= FRAGMENT;
    } else {
      p->unreadable |= FRAGMENT;
    }
    return 0;
  }
  p->present |= FRAGMENT | PROTOCOL;
  if (p->fragment != FRAGMENT_LATER) parse_transport(skb, p, at, end, 1);
  return 0;
}

/* What most frames are: IPv4 without options or fragments, with whole ports of TCP or UDP.
 * False, and nothing that lasts, for any other. */
INLINE int parse_plain(struct __sk_buff* skb, struct Packet* p) {
  enum { L3 = 14, L4 = L3 + 20, TCP_HEAD = 14 };
  const u8* frame = (const u8*)(long)skb->data;
  if (frame + L4 + TCP_HEAD > (const u8*)(long)skb->data_end) return 0;
  if (*(const u16*)(frame + 12) != bpf_htons(0x0800) || skb->vlan_present) return 0;
  if (frame[L3] != 0x45 || *(const u16*)(frame + L3 + 6) & bpf_htons(0x3fff)) return 0;
  u32 length = be16(frame + L3 + 2);
  if (length < L4 - L3 + TCP_HEAD || L3 + length > skb->len) return 0;
  p->protocol = frame[L3 + 9];
  if (p->protocol == 6) {
    p->tcp[0] = frame[L4 + 12];
    p->tcp[1] = frame[L4 + 13];
    p->present = ALWAYS | TYPE | IPV4 | IP | FRAGMENT | OPTIONS | PROTOCOL | PORTS | TCP;
  } else if (p->protocol == 17) {
    p->tcp[0] = 0;
    p->tcp[1] = 0;
    p->present = ALWAYS | TYPE | IPV4 | IP | FRAGMENT | OPTIONS | PROTOCOL | PORTS;
  } else {
    return 0;
  }
  p->unreadable = 0;
  p->src4 = bpf_ntohl(*(const u32*)(frame + L3 + 12));
  p->dst4 = bpf_ntohl(*(const u32*)(frame + L3 + 16));
  p->src_port = be16(frame + L4);
  p->dst_port = be16(frame + L4 + 2);
  p->traffic_class = frame[L3 + 1];
  p->l3 = L3;
#ifndef FEW_DIMENSIONS
  if (ASKS_MACS) copy(p->mac, frame, 12);
  p->type = 0x0800;
  p->ttl = frame[L3 + 8];
  p->fragment = FRAGMENT_NONE;
  p->options = 0;
  p->length = length;
#endif
  return 1;
}

/* From the first type field on. */
APART int parse_frame(struct __sk_buff* skb, struct Packet* p) {
  if (!p) return 0;
  u8 word[8] WORDS;
  u32 at = 12;
  u32 tags = 0;
  p->present = ALWAYS;
  p->unreadable = 0;
  /* What a flow is told by is 0 where it is absent. */
  p->src4 = 0;
  p->dst4 = 0;
  p->src_port = 0;
  p->dst_port = 0;
  p->protocol = 0;
  p->tcp[0] = 0;
  p->tcp[1] = 0;
  if (!read(skb, at, word, 2) || (ASKS_MACS && !read(skb, 0, p->mac, 12))) {
    p->unreadable = TAG | INNER_TAG | BEHIND_TAGS;
    return 0;
  }
  p->type = be16(word);
  if (skb->vlan_present) { /* taken out of the frame on its way in */
    p->tag = (u16)skb->vlan_tci;
    p->present |= TAG;
    tags = 1;
  }
#pragma clang loop unroll(disable)
  for (int i = 0; i < MAX_TAGS; ++i) {
    if (!is_tag(p->type) || tags == MAX_TAGS) break;
    if (!read(skb, at + 2, word, 4)) {
      p->unreadable |= (tags == 0 ? TAG | INNER_TAG : tags == 1 ? INNER_TAG : 0) | BEHIND_TAGS;
      return 0;
    }
    if (tags == 0) {
      p->tag = be16(word);
      p->present |= TAG;
    } else if (tags == 1) {
      p->inner_tag = be16(word);
      p->present |= INNER_TAG;
    }
    ++tags;
    p->type = be16(word + 2);
    at += 4;
  }
  if (is_tag(p->type)) {
    p->unreadable |= BEHIND_TAGS;
    return 0;
  }
  p->present |= TYPE;
  p->l3 = at + 2;
  if (p->type == 0x0800) {
    parse_ipv4(skb, p);
  } else if (p->type == 0x86dd) {
    parse_ipv6(skb, p);
  } else if (p->type == 0x0806) {
    if (read(skb, p->l3, word, 8)) {
      p->arp_operation = be16(word + 6);
      p->present |= ARP;
    } else {
      p->unreadable |= ARP;
    }
  }
  return 0;
}

enum { MOST_USED = 64 };

/* The state of the search. */
struct Search {
  u64 best;  /* the rule found so far, ~0 for none */
  u64 pages; /* that have a bit in all dimensions, and were not looked at */
  u64 words; /* likewise, of `page` */
  u32 page;
  u32 enabled;
  /* Of each dimension in use: */
  u32 vector[MOST_USED];
  u32 page_of[MOST_USED];
};

/* One for each processor: a packet is not interrupted by another of its processor. */
struct Scratch {
  struct Packet packet;
  struct Search search;
};

struct {
  __uint(type, BPF_MAP_TYPE_PERCPU_ARRAY);
  __uint(max_entries, 1);
  __type(key, u32);
  __type(value, struct Scratch);
} scratch SEC(".maps");

/* What was decided of flows, the latest two of each set. Only the program of few dimensions
 * remembers: all that a rule of its list can ask for is in a key of 24 bytes. */
#ifdef FEW_DIMENSIONS
struct Flows {
  struct Flow flow[FLOW_SETS][FLOW_WAYS];
};

struct {
  __uint(type, BPF_MAP_TYPE_PERCPU_ARRAY);
  __uint(max_entries, 1);
  __type(key, u32);
  __type(value, struct Flows);
} flows SEC(".maps");
#endif

/* Code that no list needs is better left out here than by the verifier, which moves the
 * rest of the program for every piece that it takes out. */
#ifdef FEW_DIMENSIONS
#define IS_BUILT(dimension) (FEW_DIMENSIONS_MASK >> (dimension)&1)
#else
#define IS_BUILT(dimension) 1
#endif
#define USES(dimension) (IS_BUILT(dimension) && list.dimensions >> (dimension)&1)

static const u8 bit_numbers[64] = {0,  1,  48, 2,  57, 49, 28, 3,  61, 58, 50, 42, 38, 29, 17, 4,
                                   62, 55, 59, 36, 53, 51, 43, 22, 45, 39, 33, 30, 24, 18, 12, 5,
                                   63, 47, 56, 27, 60, 41, 37, 16, 54, 35, 52, 21, 44, 32, 23, 11,
                                   46, 26, 40, 15, 34, 20, 31, 10, 25, 14, 19, 9,  13, 8,  7,  6};

/* The number of the lowest bit of a word that has one. */
INLINE u32 lowest_bit(u64 word) {
  return bit_numbers[((word & -word) * 0x03f79d71b4cb0a89ull) >> 58];
}

INLINE u32 count_bits(u64 word) {
  word -= word >> 1 & 0x5555555555555555ull;
  word = (word & 0x3333333333333333ull) + (word >> 2 & 0x3333333333333333ull);
  word = (word + (word >> 4)) & 0x0f0f0f0f0f0f0f0full;
  return (u32)(word * 0x0101010101010101ull >> 56);
}

/* How many words of a page are stored before `word`. Mostly it is all or none. */
INLINE u32 place_of(u32 word, u64 stored, u64 below) {
  if (stored == 0) return 0;
  if (stored == below) return word;
  return count_bits(stored);
}

/* One turn of the search: the next page, and the next word of it. 1 when it is over. */
static long look_at_word(u32 turn, void* context) {
  struct Search* s = *(struct Search**)context;
  u32 used = list.used;
  if (s->words == 0) {
    if (s->pages == 0) return 1;
    u32 page = lowest_bit(s->pages);
    s->pages &= s->pages - 1;
    u64 words = ~0ull;
#pragma clang loop unroll(disable)
    for (u32 d = 0; d < MOST_USED; ++d) {
      u32 reference;
      u64 some;
      if (d >= used) break;
      LOAD(u32, reference, s->vector[d] + 2 + page, return 1);
      LOAD(u64, some, reference, return 1);
      s->page_of[d] = reference;
      words &= some;
    }
    s->page = page;
    s->words = words;
    if (words == 0) return 0;
  }
  u64 words = s->words;
  u32 word = lowest_bit(words);
  s->words = words & (words - 1);
  u32 index = s->page * PAGE_WORDS + word;
  u32 first;
  LOAD(u32, first, list.first_in_word + index, return 1);
  if (first >= s->best >> RULE_INDEX_SHIFT) return 0;
  u64 below = (1ull << word) - 1;
  u64 matching = ~0ull;
#pragma clang loop unroll(disable)
  for (u32 d = 0; d < MOST_USED; ++d) {
    u64 some;
    u64 bits;
    if (d >= used) break;
    u32 page = s->page_of[d];
    LOAD(u64, some, page, return 1);
    LOAD(u64, bits, page + 2 + 2 * place_of(word, some & below, below), return 1);
    matching &= bits;
    if (matching == 0) return 0;
  }
  if (list.enabled[0]) {
    u64 bits;
    LOAD(u64, bits, s->enabled + 2 * index, return 1);
    matching &= bits;
    if (matching == 0) return 0;
  }
  u64 rule;
  LOAD(u64, rule, list.rules + 2 * (index * WORD_BITS + lowest_bit(matching)), return 1);
  if (rule < s->best) s->best = rule;
  return 0;
}

#ifdef FEW_DIMENSIONS

/* Where the flow of a packet is remembered, if it is. */
INLINE struct Flow* flow_set(const struct Packet* p, u64* key) {
  u32 zero = 0;
  struct Flows* all = bpf_map_lookup_elem(&flows, &zero);
  if (!all) return 0;
  key[0] = 0;
  if (USES(DIM_SRC4)) key[0] = (u64)p->src4 << 32;
  if (USES(DIM_DST4)) key[0] |= p->dst4;
  key[1] = p->protocol;
  if (USES(DIM_SRC_PORT)) key[1] |= (u64)p->src_port << 8;
  if (USES(DIM_DST_PORT)) key[1] |= (u64)p->dst_port << 24;
  if (USES(DIM_TCP_UPPER)) key[1] |= (u64)p->tcp[0] << 40;
  if (USES(DIM_TCP_LOWER)) key[1] |= (u64)p->tcp[1] << 48;
  key[2] = p->present | (u64)p->unreadable << 17;
  if (USES(DIM_IN_PORT)) key[2] |= (u64)p->slot << 34;
  if (USES(DIM_BOUND_VLAN)) key[2] |= (u64)(p->bound_vlan & 0xfff) << 50;
  u64 mixed = (key[0] ^ key[1] * 0x9e3779b97f4a7c15ull ^ key[2]) * 0xd6e8feb86659fd93ull;
  return all->flow[mixed >> (64 - FLOW_SET_BITS)];
}

INLINE int is_flow(const struct Flow* flow, const u64* key) {
  return flow->key[0] == key[0] && flow->key[1] == key[1] && flow->key[2] == key[2];
}

INLINE void remember(struct Flow* set, const u64* key, u64 best) {
  set[1] = set[0];
  set[0].key[0] = key[0];
  set[0].key[1] = key[1];
  set[0].key[2] = key[2];
  set[0].best = best;
}

#endif

/* The vector of a value in a table of ranges. */
#define FIND_RANGE8(result, dimension, value)                                \
  do {                                                                       \
    LOAD(u32, result, list.table[dimension] + ((value)&0xff), goto forward); \
  } while (0)

#define FIND_RANGE16(result, dimension, value)                                         \
  do {                                                                                 \
    u32 value_ = (value)&0xffff;                                                       \
    LOAD(u32, result, list.table[dimension] + (value_ >> 8), goto forward);            \
    if (!((result)&LEAF)) LOAD(u32, result, (result) + (value_ & 0xff), goto forward); \
  } while (0)

#define FIND_PREFIX4(result, dimension, address)                                         \
  do {                                                                                   \
    u32 address_ = (address);                                                            \
    u32 bits_ = list.root_bits[(dimension)-DIM_SRC4];                                    \
    LOAD(u32, result, list.table[dimension] + (address_ >> (32 - bits_)), goto forward); \
    address_ <<= bits_;                                                                  \
    _Pragma("clang loop unroll(disable)") for (int i_ = 0; i_ < 6; ++i_) {               \
      if ((result)&LEAF) break;                                                          \
      LOAD(u32, result, (result) + (address_ >> 28), goto forward);                      \
      address_ <<= 4;                                                                    \
    }                                                                                    \
  } while (0)

INLINE u64 upper_bits(u32 count) {
  if (count == 0) return 0;
  return count >= 64 ? ~0ull : ~0ull << (64 - count);
}

#define FIND_PREFIX6(result, dimension, address)                                        \
  do {                                                                                  \
    result = list.table[dimension];                                                     \
    _Pragma("clang loop unroll(disable)") for (int i_ = 0; i_ < 32; ++i_) {             \
      if ((result)&LEAF) break;                                                         \
      u64 upper_, lower_;                                                               \
      u32 shared_;                                                                      \
      u32 node_ = (result);                                                             \
      LOAD(u64, upper_, node_, goto forward);                                           \
      LOAD(u64, lower_, node_ + 2, goto forward);                                       \
      LOAD(u32, shared_, node_ + TRIE6_SHARED_BITS, goto forward);                      \
      shared_ &= 127;                                                                   \
      u64 differs_ = ((address)[0] ^ upper_) & upper_bits(shared_);                     \
      if (shared_ > 64) differs_ |= ((address)[1] ^ lower_) & upper_bits(shared_ - 64); \
      if (differs_) {                                                                   \
        LOAD(u32, result, node_ + TRIE6_OTHERWISE, goto forward);                       \
        break;                                                                          \
      }                                                                                 \
      u64 half_ = shared_ < 64 ? (address)[0] : (address)[1];                           \
      u32 nibble_ = (u32)(half_ >> (60 - (shared_ & 63))) & 15;                         \
      LOAD(u32, result, node_ + TRIE6_ENTRIES + nibble_, goto forward);                 \
    }                                                                                   \
  } while (0)

/* Sets the vector of one dimension: by its table, or by why the packet has no value. */
#define LOOK_UP(dimension, group, find, value)                                                   \
  do {                                                                                           \
    if (USES(dimension)) {                                                                       \
      u32 vector_;                                                                               \
      if (p->present & (group)) {                                                                \
        find(vector_, dimension, value);                                                         \
        vector_ &= ~LEAF;                                                                        \
      } else {                                                                                   \
        vector_ = p->unreadable & (group) ? list.unreadable[dimension] : list.absent[dimension]; \
      }                                                                                          \
      u64 pages_;                                                                                \
      LOAD(u64, pages_, vector_, goto forward);                                                  \
      s->vector[used++ & (MOST_USED - 1)] = vector_;                                             \
      s->pages &= pages_;                                                                        \
    }                                                                                            \
  } while (0)

INLINE void remark_dscp(struct __sk_buff* skb, const struct Packet* p, u8 dscp) {
  u8 traffic_class = (u8)(dscp << 2 | (p->traffic_class & 3));
  if (!(p->present & IP) || traffic_class == p->traffic_class) return;
  u32 at = p->l3 & MAX_OFFSET;
  if (p->present & IPV4) {
    bpf_l3_csum_replace(skb, at + 10, bpf_htons(p->traffic_class), bpf_htons(traffic_class), 2);
    bpf_skb_store_bytes(skb, at + 1, &traffic_class, 1, 0);
  } else {
    u8 head[2] = {(u8)(0x60 | traffic_class >> 4),
                  (u8)(traffic_class << 4 | (p->flow_label >> 16 & 15))};
    bpf_skb_store_bytes(skb, at, head, 2, BPF_F_RECOMPUTE_CSUM);
  }
}

INLINE void remark_priority(struct __sk_buff* skb, struct Packet* p, u8 priority) {
  if (!(p->present & TAG)) return;
  u16 tag = (u16)((p->tag & 0x1fff) | priority << 13);
  if (tag == p->tag) return;
  p->tag = tag;
  if (skb->vlan_present) {
    u16 protocol = (u16)skb->vlan_proto;
    if (bpf_skb_vlan_pop(skb) == 0) bpf_skb_vlan_push(skb, protocol, tag);
  } else {
    u16 wire = bpf_htons(tag);
    bpf_skb_store_bytes(skb, 14, &wire, 2, BPF_F_RECOMPUTE_CSUM);
  }
}

SEC("tc")
int classify(struct __sk_buff* skb) {
  u32 zero = 0;
  u32 used = 0;
  u64 best;
  const struct InterfaceFacts* facts = 0;
  TIE_TO_TABLES();
  struct Scratch* own = bpf_map_lookup_elem(&scratch, &zero);
  if (!own) return TC_ACT_SHOT; /* cannot be */
  struct Packet* p = &own->packet;
  struct Search* s = &own->search;
  if (!parse_plain(skb, p)) parse_frame(skb, p);

  if (list.asks_interfaces) {
    u32 ifindex = skb->ifindex;
    facts = bpf_map_lookup_elem(&interfaces, &ifindex);
  }
  p->slot = facts ? facts->slot : 0;
  p->bound_vlan = facts ? facts->untagged_vlan : 0;
  if (p->present & TAG && p->tag & 0xfff) p->bound_vlan = p->tag & 0xfff;
  if (p->unreadable & TAG) {
    p->unreadable |= BOUND_VLAN;
  } else {
    p->present |= BOUND_VLAN;
  }

#ifdef FEW_DIMENSIONS
  u64 key[3];
  /* What holds of a time range does not hold for ever. */
  struct Flow* flow = list.dimensions && !list.enabled[0] ? flow_set(p, key) : 0;
  if (flow && is_flow(&flow[0], key)) {
    best = flow[0].best;
    goto decided;
  }
  if (flow && is_flow(&flow[1], key)) {
    best = flow[1].best;
    goto decided;
  }
#endif
  s->best = ~0ull;
  s->pages = list.dimensions ? ~0ull : 0;
  s->words = 0;
  s->page = 0;
  s->enabled = 0;
  LOOK_UP(DIM_SRC4, IPV4, FIND_PREFIX4, p->src4);
  LOOK_UP(DIM_DST4, IPV4, FIND_PREFIX4, p->dst4);
  LOOK_UP(DIM_SRC6, IPV6, FIND_PREFIX6, p->src6);
  LOOK_UP(DIM_DST6, IPV6, FIND_PREFIX6, p->dst6);
  LOOK_UP(DIM_DST_PORT, PORTS, FIND_RANGE16, p->dst_port);
  LOOK_UP(DIM_SRC_PORT, PORTS, FIND_RANGE16, p->src_port);
  LOOK_UP(DIM_PROTOCOL, PROTOCOL, FIND_RANGE8, p->protocol);
  LOOK_UP(DIM_BOUND_VLAN, BOUND_VLAN, FIND_RANGE16, p->bound_vlan);
  LOOK_UP(DIM_VLAN, TAG, FIND_RANGE16, p->tag & 0xfff);
  LOOK_UP(DIM_INNER_VLAN, INNER_TAG, FIND_RANGE16, p->inner_tag & 0xfff);
  LOOK_UP(DIM_ETHERTYPE, TYPE, FIND_RANGE16, p->type);
  LOOK_UP(DIM_TCP_UPPER, TCP, FIND_RANGE8, p->tcp[0]);
  LOOK_UP(DIM_TCP_LOWER, TCP, FIND_RANGE8, p->tcp[1]);
  LOOK_UP(DIM_ICMP_TYPE, ICMP, FIND_RANGE8, p->type8);
  LOOK_UP(DIM_ICMP_CODE, ICMP, FIND_RANGE8, p->code8);
  LOOK_UP(DIM_ICMP6_TYPE, ICMP6, FIND_RANGE8, p->type8);
  LOOK_UP(DIM_ICMP6_CODE, ICMP6, FIND_RANGE8, p->code8);
  LOOK_UP(DIM_IGMP_TYPE, IGMP, FIND_RANGE8, p->type8);
  LOOK_UP(DIM_TRAFFIC_CLASS, IP, FIND_RANGE8, p->traffic_class);
  LOOK_UP(DIM_TOS, IPV4, FIND_RANGE8, p->traffic_class);
  LOOK_UP(DIM_FRAGMENT, FRAGMENT, FIND_RANGE8, p->fragment);
  LOOK_UP(DIM_TTL, IP, FIND_RANGE8, p->ttl);
  LOOK_UP(DIM_OPTIONS, OPTIONS, FIND_RANGE8, p->options);
  LOOK_UP(DIM_FLOW_UPPER, IPV6, FIND_RANGE8, p->flow_label >> 16);
  LOOK_UP(DIM_FLOW_LOWER, IPV6, FIND_RANGE16, p->flow_label);
  LOOK_UP(DIM_LENGTH, IP, FIND_RANGE16, p->length);
  LOOK_UP(DIM_ARP_OPERATION, ARP, FIND_RANGE16, p->arp_operation);
  LOOK_UP(DIM_DOT1P, TAG, FIND_RANGE8, p->tag >> 13);
  LOOK_UP(DIM_INNER_DOT1P, INNER_TAG, FIND_RANGE8, p->inner_tag >> 13);
  LOOK_UP(DIM_IN_PORT, ALWAYS, FIND_RANGE16, p->slot);
#define LOOK_UP_MAC(byte)                                                 \
  LOOK_UP(DIM_SRC_MAC + (byte), ALWAYS, FIND_RANGE8, p->mac[6 + (byte)]); \
  LOOK_UP(DIM_DST_MAC + (byte), ALWAYS, FIND_RANGE8, p->mac[byte])
  LOOK_UP_MAC(0);
  LOOK_UP_MAC(1);
  LOOK_UP_MAC(2);
  LOOK_UP_MAC(3);
  LOOK_UP_MAC(4);
  LOOK_UP_MAC(5);
  if (s->pages) {
    if (list.enabled[0]) {
      u32 selector;
      LOAD(u32, selector, SELECTOR, goto forward);
      s->enabled = selector ? list.enabled[1] : list.enabled[0];
    }
    bpf_loop(MAX_PAGES * (PAGE_WORDS + 1), look_at_word, &s, 0);
  }
  best = s->best;
#ifdef FEW_DIMENSIONS
  if (flow) remember(flow, key, best);
decided:
  __attribute__((unused));
#endif

  if (best != ~0ull) {
    u32 index = (u32)(best >> RULE_INDEX_SHIFT);
    u32 block = index / HITS_IN_BLOCK;
    struct HitsBlock* counted = bpf_map_lookup_elem(&hits, &block);
    if (counted) {
      struct RuleHits* hit = &counted->of[index % HITS_IN_BLOCK];
      ++hit->packets;
      hit->bytes += skb->len + (skb->vlan_present ? 4 : 0);
    }
    if (!(best & RULE_PERMITS)) return TC_ACT_SHOT;
    u8 value = (u8)(best >> RULE_VALUE_SHIFT);
    if (best & RULE_REMARKS_DSCP) remark_dscp(skb, p, value & 63);
    if (best & RULE_REMARKS_PRIORITY) remark_priority(skb, p, value & 7);
  } else {
    bpf_tail_call(skb, &next, 0);
  }
forward:
  __attribute__((unused));
  if (facts && facts->has_queues && p->present & TAG) {
    skb->priority = facts->queue[p->tag >> 13 & 7];
  }
  return TC_ACT_UNSPEC;
}

char program_license[] SEC("license") = "Apache-2.0";
