#include "tools/policyctl/language/entry_map.h"

#include <algorithm>

std::size_t EntryMap::size() const {
  std::size_t size = 0;
  for (const Run& run : _runs) size += run.size();
  return size;
}

bool EntryMap::operator==(const EntryMap& other) const {
  return size() == other.size() && std::equal(begin(), end(), other.begin());
}

// Whether this is the place for `key`: nothing before it has to stay before `key` and
// what is there is not before it.
bool EntryMap::is_first_not_before(Place place, const EntryKey& key) const {
  if (place.run >= _runs.size()) return _runs.empty() || _runs.back().back().first < key;
  if (place.entry >= _runs[place.run].size() || entry(place).first < key) return false;
  if (place.entry > 0) return entry({place.run, place.entry - 1}).first < key;
  return place.run == 0 || _runs[place.run - 1].back().first < key;
}

EntryMap::Place EntryMap::next(Place place) const {
  if (place.run >= _runs.size()) return behind();
  return place.entry + 1 < _runs[place.run].size() ? Place{place.run, place.entry + 1}
                                                   : Place{place.run + 1, 0};
}

EntryMap::Place EntryMap::place_for(const EntryKey& key) const {
  const Place near = next(_last);
  if (is_first_not_before(near, key)) return _last = near;
  if (is_first_not_before(behind(), key)) return _last = behind();
  const auto run = std::partition_point(
      _runs.begin(), _runs.end(), [&key](const Run& each) { return each.back().first < key; });
  const auto at = std::partition_point(run->begin(), run->end(),
                                       [&key](const MapEntry& each) { return each.first < key; });
  return _last = {static_cast<std::size_t>(run - _runs.begin()),
                  static_cast<std::size_t>(at - run->begin())};
}

EntryMap::Place EntryMap::append(MapEntry added) {
  if (_runs.empty() || _runs.back().size() == MOST_OF_RUN) {
    _runs.emplace_back();
    if (_runs.size() > 1) _runs.back().reserve(MOST_OF_RUN);
  }
  _runs.back().push_back(std::move(added));
  return {_runs.size() - 1, _runs.back().size() - 1};
}

// Where it came to lie, which is in front of `place`.
EntryMap::Place EntryMap::insert_at(Place place, MapEntry added) {
  if (_runs[place.run].size() == MOST_OF_RUN) {
    constexpr std::size_t HALF = MOST_OF_RUN / 2;
    Run& full = _runs[place.run];
    Run upper(std::make_move_iterator(full.begin() + HALF), std::make_move_iterator(full.end()));
    full.resize(HALF);
    _runs.insert(_runs.begin() + static_cast<std::ptrdiff_t>(place.run) + 1, std::move(upper));
    if (place.entry > HALF) place = {place.run + 1, place.entry - HALF};
  }
  Run& run = _runs[place.run];
  run.insert(run.begin() + static_cast<std::ptrdiff_t>(place.entry), std::move(added));
  return place;
}

std::pair<EntryMap::iterator, bool> EntryMap::try_emplace(const EntryKey& key, EntryValue value) {
  const Place wanted = place_for(key);
  if (wanted != behind() && entry(wanted).first == key) return {{this, wanted}, false};
  MapEntry added{key, std::move(value)};
  _last = wanted == behind() ? append(std::move(added)) : insert_at(wanted, std::move(added));
  return {{this, _last}, true};
}

EntryMap::iterator EntryMap::insert_or_assign(const EntryKey& key, EntryValue value) {
  const auto [at, is_new] = try_emplace(key, value);
  if (!is_new) at->second = std::move(value);
  return at;
}

std::size_t EntryMap::erase(const EntryKey& key) {
  const Place place = place_of(key);
  if (place == behind()) return 0;
  erase(const_iterator(this, place));
  return 1;
}

EntryMap::iterator EntryMap::erase(const_iterator at) {
  const auto [run, entry] = at._place;
  _runs[run].erase(_runs[run].begin() + static_cast<std::ptrdiff_t>(entry));
  if (_runs[run].empty()) {
    _runs.erase(_runs.begin() + static_cast<std::ptrdiff_t>(run));
    return {this, {run, 0}};
  }
  const bool is_in_run = entry < _runs[run].size();
  return {this, is_in_run ? Place{run, entry} : Place{run + 1, 0}};
}
