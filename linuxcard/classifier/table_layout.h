/* What the compiler of rule lists lays out and the program in the kernel reads: C, for
 * both of them include it.
 *
 * Tables are an array of 32-bit cells. A reference is the index of a cell; what has
 * 64-bit members begins at an even one, low half first (little-endian machines only, as
 * is the kernel's program).
 *
 *   vector   one bit for each position of a rule, in two steps:
 *              u64 pages that are not empty, one bit for each
 *              u32 reference of each page, up to the last of the list
 *   page     4096 positions:
 *              u64 words that are not zero, one bit for each
 *              u64 each of these words
 *   ranges   of values of 8 or 16 bits: 256 entries, by the value or by its upper half,
 *            each a vector (LEAF set) or the reference of 256 more by the lower half
 *   prefixes of IPv4: 2^root_bits entries by the upper bits, each a vector (LEAF set) or
 *            the reference of 16 more by the next four bits, and so on
 *   prefixes of IPv6: an entry; one without LEAF is the reference of a node:
 *              u64, u64 the bits that all keys below share; u32 how many these are;
 *              u32 the vector of keys that do not share them; u64 nothing;
 *              16 entries by the next four bits
 *
 * Positions are not in the order of the list: rules that are alike stand together, so
 * that few words have a bit in all dimensions. Within a word they are in order, and the
 * rule of a position tells its place in the list, so that the first one is found. */
#ifndef LINUXCARD_CLASSIFIER_TABLE_LAYOUT_H
#define LINUXCARD_CLASSIFIER_TABLE_LAYOUT_H

/* What rules look at, one vector for each of a packet. The most selective first. */
enum Dimension {
  DIM_SRC4,
  DIM_DST4,
  DIM_SRC6,
  DIM_DST6,
  DIM_DST_PORT,
  DIM_SRC_PORT,
  DIM_PROTOCOL,
  DIM_BOUND_VLAN, /* the VLAN whose filter the rule is */
  DIM_VLAN,
  DIM_INNER_VLAN,
  DIM_ETHERTYPE,
  DIM_TCP_UPPER, /* byte 13 of the header, counted from 1, */
  DIM_TCP_LOWER, /* and byte 14 */
  DIM_ICMP_TYPE,
  DIM_ICMP_CODE,
  DIM_ICMP6_TYPE,
  DIM_ICMP6_CODE,
  DIM_IGMP_TYPE,
  DIM_TRAFFIC_CLASS, /* DSCP and ECN */
  DIM_TOS,           /* the same byte of IPv4 alone */
  DIM_FRAGMENT,
  DIM_TTL,
  DIM_OPTIONS,
  DIM_FLOW_UPPER, /* four bits of the flow label */
  DIM_FLOW_LOWER, /* and sixteen */
  DIM_LENGTH,
  DIM_ARP_OPERATION,
  DIM_DOT1P,
  DIM_INNER_DOT1P,
  DIM_IN_PORT, /* slot of the port */
  DIM_SRC_MAC, /* six, a byte each */
  DIM_DST_MAC = DIM_SRC_MAC + 6,
  DIMENSIONS = DIM_DST_MAC + 6
};

/* What most lists make do with. There is a program for these alone, which loads sooner. */
#define FEW_DIMENSIONS_MASK                                                                        \
  (1ull << DIM_SRC4 | 1ull << DIM_DST4 | 1ull << DIM_DST_PORT | 1ull << DIM_SRC_PORT |             \
   1ull << DIM_PROTOCOL | 1ull << DIM_BOUND_VLAN | 1ull << DIM_TCP_UPPER | 1ull << DIM_TCP_LOWER | \
   1ull << DIM_IN_PORT)

enum FragmentKind { FRAGMENT_NONE, FRAGMENT_FIRST, FRAGMENT_LATER };

enum {
  WORD_BITS = 64,
  PAGE_WORDS = 64,
  PAGE_BITS = PAGE_WORDS * WORD_BITS,
  MAX_PAGES = 64,
  MAX_RULES = MAX_PAGES * PAGE_BITS,

  LINE_CELLS = 16, /* the kernel's array maps are read by lines of 64 bytes */
  EMPTY = 0,       /* reference of the vector and the page without a bit */
  SELECTOR = 8,    /* which of the two sets of enabled rules holds */
  FIRST_CELL = 16,

  TRIE6_SHARED_BITS = 4,
  TRIE6_OTHERWISE = 5,
  TRIE6_ENTRIES = 8,
  TRIE6_NODE = 24
};

#define LEAF 0x80000000u

/* How a rule is told by the table of rules, in 64 bits: its index in the list above
 * these, so that the smallest is the first. */
enum {
  RULE_PERMITS = 1,
  RULE_REMARKS_DSCP = 2,
  RULE_REMARKS_PRIORITY = 4,
  RULE_VALUE_SHIFT = 8,
  RULE_INDEX_SHIFT = 32
};

/* The constants of one list; the kernel removes what they say is not needed. */
struct ListHeader {
  unsigned long long dimensions; /* a bit for each in use */
  unsigned int used;             /* how many these are */
  unsigned int table[DIMENSIONS];
  unsigned int absent[DIMENSIONS];     /* vector of packets without the field */
  unsigned int unreadable[DIMENSIONS]; /* vector of packets whose field is cut off */
  unsigned int root_bits[2];           /* of DIM_SRC4 and DIM_DST4 */
  unsigned int rules;                  /* u64 for each position */
  unsigned int first_in_word;          /* u32 for each word: the smallest index */
  unsigned int enabled[2];             /* u64 for each word; 0 when all rules always are */
  unsigned int asks_interfaces;        /* whether facts of the interface matter */
  /* Where the tables are in the memory of the process, when they are in an arena. */
  unsigned long long arena_address;
};

/* What was decided of a flow, a processor's own. */
struct Flow {
  unsigned long long key[3]; /* all 0 of none */
  unsigned long long best;   /* as the table of rules tells it; all ones: no rule matches */
};

enum { FLOW_SET_BITS = 9, FLOW_SETS = 1 << FLOW_SET_BITS, FLOW_WAYS = 2 };

/* What the program knows of an interface. */
struct InterfaceFacts {
  unsigned short slot;          /* what DIM_IN_PORT compares with */
  unsigned short untagged_vlan; /* 0: none */
  unsigned int has_queues;
  unsigned char queue[8];
};

struct RuleHits {
  unsigned long long packets;
  unsigned long long bytes;
};

/* Counters are kept in blocks: the kernel makes room for each value of a map by itself. */
enum { HITS_IN_BLOCK = 64 };

struct HitsBlock {
  struct RuleHits of[HITS_IN_BLOCK];
};

#endif
