#include "linuxcard/ebpf/loaded_list.h"

#include <bpf/bpf.h>
#include <bpf/libbpf.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>

#include "linuxcard/ebpf/classifier_objects.h"

namespace {

// Of newer kernels than the headers.
constexpr std::uint32_t MAP_TYPE_ARENA = 33;

constexpr std::size_t LINE_BYTES = LINE_CELLS * sizeof(std::uint32_t);

struct CloseObject {
  void operator()(bpf_object* object) const { bpf_object__close(object); }
};
using Object = std::unique_ptr<bpf_object, CloseObject>;

std::size_t page_bytes() {
  static const auto bytes = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
  return bytes;
}

std::size_t whole_pages(std::size_t bytes) {
  return (bytes + page_bytes() - 1) / page_bytes() * page_bytes();
}

int quiet(libbpf_print_level /*level*/, const char* /*format*/, va_list /*arguments*/) {
  return 0;
}

Descriptor duplicate(int fd) {
  const int copy = fd < 0 ? -1 : fcntl(fd, F_DUPFD_CLOEXEC, 3);
  if (copy < 0) throw LoadError(errno, "cannot keep a map or program");
  return Descriptor(copy);
}

bpf_map* map_of(bpf_object* object, const char* name) {
  bpf_map* const map = bpf_object__find_map_by_name(object, name);
  if (map == nullptr) throw LoadError(ENOENT, std::string("the program has no map ") + name);
  return map;
}

void must(int result, const char* what) {
  if (result < 0) throw LoadError(-result, what);
}

bool has_few(std::uint64_t dimensions) {
  return (dimensions & ~FEW_DIMENSIONS_MASK) == 0;
}

std::span<const unsigned char> object_for(std::uint64_t dimensions, TableForm form) {
  using namespace classifier_object;
  if (has_few(dimensions)) {
    return form == TableForm::ARENA ? arena_few() : array_few();
  }
  return form == TableForm::ARENA ? arena() : array();
}

Object open_object(std::span<const unsigned char> bytes) {
  libbpf_set_print(quiet);
  Object object(bpf_object__open_mem(bytes.data(), bytes.size(), nullptr));
  if (object == nullptr) throw LoadError(errno, "the program cannot be read");
  return object;
}

Descriptor make_arena(std::size_t bytes) {
  bpf_map_create_opts options{};
  options.sz = sizeof options;
  options.map_flags = BPF_F_MMAPABLE;
  std::uint32_t type = MAP_TYPE_ARENA;
  Descriptor map(bpf_map_create(static_cast<bpf_map_type>(type), "tables", 0, 0,
                                static_cast<std::uint32_t>(bytes / page_bytes()), &options));
  if (!map.is_open()) throw LoadError(errno, "no memory for the tables");
  return map;
}

// An arena is at one address in all processes that ever look into it. The next one that
// takes it over must find nothing else there, so it is put far from what the kernel
// chooses for other things.
SharedTables at_free_address(int map, std::size_t bytes) {
  constexpr std::uint64_t FIRST = std::uint64_t{0x2000} << 32U;
  constexpr std::uint64_t STEP = std::uint64_t{1} << 32U;
  constexpr int TRIES = 4096;
  static std::uint64_t next = FIRST;
  for (int i = 0; i < TRIES; ++i) {
    const std::uint64_t address = next;
    next = next + STEP == FIRST + TRIES * STEP ? FIRST : next + STEP;
    try {
      return {map, bytes, address};
    } catch (const LoadError& problem) {
      if (problem.code().value() != EEXIST) throw;
    }
  }
  throw LoadError(ENOMEM, "no room for the tables");
}

std::uint32_t processors() {
  static const int count = libbpf_num_possible_cpus();
  return count < 1 ? 1U : static_cast<std::uint32_t>(count);
}

// At least one.
std::uint32_t blocks_for(std::uint32_t rules) {
  return std::max((rules + HITS_IN_BLOCK - 1) / HITS_IN_BLOCK, 1U);
}

constexpr std::array<const char*, 5> PINNED{"program", "tables", "hits", "next", "constants"};

}  // namespace

Descriptor::~Descriptor() {
  if (_fd >= 0) close(_fd);
}

SharedTables::SharedTables(int map, std::size_t bytes, std::uint64_t address)
    : _bytes(whole_pages(bytes)) {
  const int where = address == 0 ? 0 : MAP_FIXED_NOREPLACE;
  // NOLINTNEXTLINE(performance-no-int-to-ptr): the address is what the kernel knows it by.
  _memory = mmap(reinterpret_cast<void*>(address), _bytes, PROT_READ | PROT_WRITE,
                 MAP_SHARED | MAP_POPULATE | where, map, 0);
  if (_memory == MAP_FAILED) {
    _memory = nullptr;
    throw LoadError(errno, "no memory for the tables");
  }
}

SharedTables::SharedTables(SharedTables&& other) noexcept
    : _memory(std::exchange(other._memory, nullptr)), _bytes(std::exchange(other._bytes, 0)) {}

SharedTables& SharedTables::operator=(SharedTables&& other) noexcept {
  std::swap(_memory, other._memory);
  std::swap(_bytes, other._bytes);
  return *this;
}

SharedTables::~SharedTables() {
  if (_memory != nullptr) munmap(_memory, _bytes);
}

TableForm best_table_form() {
  try {
    CompiledList nothing;
    nothing.cells.resize(2 * static_cast<std::size_t>(LINE_CELLS));
    const LoadedList tried(nothing, TableForm::ARENA, -1);
    return TableForm::ARENA;
  } catch (const LoadError&) {
    return TableForm::ARRAY;
  }
}

LoadedList::LoadedList(const CompiledList& list, TableForm form, int interfaces)
    : _header(list.header), _rules(list.rules) {
  const std::size_t bytes = list.cells.size() * sizeof(list.cells[0]);
  const Object object = open_object(object_for(_header.dimensions, form));
  bpf_map* const tables = map_of(object.get(), "tables");
  if (form == TableForm::ARENA) {
    _tables_map = make_arena(whole_pages(bytes));
    // The program can be loaded once the arena has its place.
    _tables = at_free_address(_tables_map.get(), bytes);
    _header.arena_address = reinterpret_cast<std::uintptr_t>(_tables.cells().data());
    must(bpf_map__reuse_fd(tables, _tables_map.get()), "no memory for the tables");
  } else {
    must(bpf_map__set_max_entries(tables, static_cast<std::uint32_t>(bytes / LINE_BYTES)),
         "no memory for the tables");
  }
  bpf_map* const hits = map_of(object.get(), "hits");
  must(bpf_map__set_max_entries(hits, blocks_for(_rules)), "no memory for the counters");
  if (interfaces >= 0) {
    must(bpf_map__reuse_fd(map_of(object.get(), "interfaces"), interfaces),
         "the interfaces are not known");
  }
  bpf_map* const constants = map_of(object.get(), ".rodata.list");
  must(bpf_map__set_initial_value(constants, &_header, sizeof _header), "the header does not fit");
  must(bpf_object__load(object.get()), "the kernel does not take the program");

  if (form == TableForm::ARRAY) {
    _tables_map = duplicate(bpf_map__fd(tables));
    _tables = SharedTables(_tables_map.get(), bytes, 0);
  }
  std::copy(list.cells.begin(), list.cells.end(), _tables.cells().begin());
  _program = duplicate(bpf_program__fd(bpf_object__find_program_by_name(object.get(), "classify")));
  _hits = duplicate(bpf_map__fd(hits));
  _next = duplicate(bpf_map__fd(map_of(object.get(), "next")));
  _constants = duplicate(bpf_map__fd(constants));
}

std::optional<LoadedList> LoadedList::open(const std::string& folder) {
  LoadedList list;
  std::array<Descriptor*, PINNED.size()> parts{&list._program, &list._tables_map, &list._hits,
                                               &list._next, &list._constants};
  for (std::size_t i = 0; i < parts.size(); ++i) {
    *parts[i] = Descriptor(bpf_obj_get((folder + "/" + PINNED[i]).c_str()));
    if (!parts[i]->is_open()) return std::nullopt;
  }
  std::uint32_t key = 0;
  bpf_map_info info{};
  std::uint32_t size = sizeof info;
  // A header of another size was written by another version.
  if (bpf_obj_get_info_by_fd(list._constants.get(), &info, &size) != 0 ||
      info.value_size != sizeof list._header ||
      bpf_map_lookup_elem(list._constants.get(), &key, &list._header) != 0) {
    return std::nullopt;
  }
  info = {};
  if (bpf_obj_get_info_by_fd(list._hits.get(), &info, &size) != 0 ||
      info.value_size != sizeof(HitsBlock)) {
    return std::nullopt;
  }
  list._rules = info.max_entries * HITS_IN_BLOCK;
  info = {};
  if (bpf_obj_get_info_by_fd(list._tables_map.get(), &info, &size) != 0) return std::nullopt;
  const bool is_arena = info.type == MAP_TYPE_ARENA;
  try {
    list._tables = SharedTables(
        list._tables_map.get(),
        static_cast<std::size_t>(info.max_entries) * (is_arena ? page_bytes() : LINE_BYTES),
        list._header.arena_address);
  } catch (const LoadError&) {
    return std::nullopt;
  }
  return list;
}

void LoadedList::pin(const std::string& folder) const {
  if (mkdir(folder.c_str(), 0700) != 0) throw LoadError(errno, "cannot make " + folder);
  const std::array<int, PINNED.size()> parts{_program.get(), _tables_map.get(), _hits.get(),
                                             _next.get(), _constants.get()};
  for (std::size_t i = 0; i < parts.size(); ++i) {
    if (bpf_obj_pin(parts[i], (folder + "/" + PINNED[i]).c_str()) != 0) {
      throw LoadError(errno, "cannot pin in " + folder);
    }
  }
}

std::uint64_t LoadedList::memory_bytes() const {
  constexpr std::uint64_t FLOW_BYTES = sizeof(Flow) * FLOW_SETS * FLOW_WAYS;
  const std::uint64_t of_processor =
      blocks_for(_rules) * sizeof(HitsBlock) + (has_few(_header.dimensions) ? FLOW_BYTES : 0);
  return _tables.cells().size_bytes() + of_processor * processors();
}

void LoadedList::continue_with(int program) const {
  const std::uint32_t key = 0;
  if (program < 0) {
    if (bpf_map_delete_elem(_next.get(), &key) != 0 && errno != ENOENT) {
      throw LoadError(errno, "cannot leave out the filters of VLANs");
    }
  } else if (bpf_map_update_elem(_next.get(), &key, &program, BPF_ANY) != 0) {
    throw LoadError(errno, "cannot ask the filters of VLANs");
  }
}

void LoadedList::enable(std::span<const std::uint64_t> words) const {
  if (_header.enabled[0] == 0) return;
  const std::span<std::uint32_t> cells = _tables.cells();
  const std::uint32_t other = cells[SELECTOR] == 0 ? 1 : 0;
  std::memcpy(&cells[_header.enabled[other]], words.data(), words.size_bytes());
  __atomic_store_n(&cells[SELECTOR], other, __ATOMIC_RELEASE);
}

std::vector<RuleHits> LoadedList::hits() const {
  const std::uint32_t blocks = blocks_for(_rules);
  std::vector<RuleHits> sums(static_cast<std::size_t>(blocks) * HITS_IN_BLOCK);
  std::vector<HitsBlock> each(processors());
  for (std::uint32_t block = 0; block < blocks; ++block) {
    if (bpf_map_lookup_elem(_hits.get(), &block, each.data()) != 0) continue;
    RuleHits* const first = &sums[static_cast<std::size_t>(block) * HITS_IN_BLOCK];
    for (const HitsBlock& of_processor : each) {
      for (std::uint32_t i = 0; i < HITS_IN_BLOCK; ++i) {
        first[i].packets += of_processor.of[i].packets;
        first[i].bytes += of_processor.of[i].bytes;
      }
    }
  }
  sums.resize(_rules);
  return sums;
}
