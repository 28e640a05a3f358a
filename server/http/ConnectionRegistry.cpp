#include "server/http/ConnectionRegistry.h"

namespace kest::server::http {

ConnectionControl::~ConnectionControl() = default;

ConnectionRegistry::ConnectionRegistry(std::size_t activeLimit, std::size_t openLimit)
    : _activeLimit(activeLimit), _openLimit(openLimit < activeLimit ? activeLimit : openLimit) {}

ConnectionRegistry::Entry* ConnectionRegistry::chooseVictim(bool idleAllowed, Id except) {
  Entry* chosen = nullptr;
  for (auto& [id, entry] : _entries) {
    if (entry.evicted || id == except || entry.state == ConnectionState::Busy) continue;
    if (entry.state == ConnectionState::Idle && !idleAllowed) continue;
    const bool better =
        chosen == nullptr ||
        (entry.state == ConnectionState::Idle && chosen->state != ConnectionState::Idle) ||
        (entry.state == chosen->state && entry.since < chosen->since);
    if (better) chosen = &entry;
  }
  if (chosen != nullptr) {
    chosen->evicted = true;
    --_open;
    if (chosen->state != ConnectionState::Idle) --_active;
  }
  return chosen;
}

void ConnectionRegistry::setState(Entry& entry, ConnectionState state, Clock::time_point now) {
  if (!entry.evicted) {
    if (entry.state == ConnectionState::Idle && state != ConnectionState::Idle) ++_active;
    if (entry.state != ConnectionState::Idle && state == ConnectionState::Idle) --_active;
  }
  entry.state = state;
  entry.since = now;
}

ConnectionRegistry::Id ConnectionRegistry::admit(std::weak_ptr<ConnectionControl> connection,
                                                 Clock::time_point now) {
  std::shared_ptr<ConnectionControl> victim;
  Id id = 0;
  {
    std::lock_guard<std::mutex> lock(_mutex);
    if (_open >= _openLimit) {
      Entry* chosen = chooseVictim(true, 0);
      if (chosen == nullptr) return 0;
      victim = chosen->connection.lock();
    }
    id = _nextId++;
    _entries.emplace(id, Entry{std::move(connection), ConnectionState::Idle, now, false});
    ++_open;
  }
  if (victim) victim->evict();
  return id;
}

bool ConnectionRegistry::beginRequest(Id id, Clock::time_point now) {
  std::shared_ptr<ConnectionControl> victim;
  {
    std::lock_guard<std::mutex> lock(_mutex);
    const auto found = _entries.find(id);
    if (found == _entries.end()) return false;
    if (!found->second.evicted && _active >= _activeLimit) {
      Entry* chosen = chooseVictim(false, id);
      if (chosen == nullptr) return false;
      victim = chosen->connection.lock();
    }
    setState(found->second, ConnectionState::ReadingHeader, now);
  }
  if (victim) victim->evict();
  return true;
}

void ConnectionRegistry::headerComplete(Id id, Clock::time_point now) {
  std::lock_guard<std::mutex> lock(_mutex);
  const auto found = _entries.find(id);
  if (found != _entries.end()) setState(found->second, ConnectionState::Busy, now);
}

void ConnectionRegistry::endRequest(Id id, Clock::time_point now) {
  std::lock_guard<std::mutex> lock(_mutex);
  const auto found = _entries.find(id);
  if (found != _entries.end()) setState(found->second, ConnectionState::Idle, now);
}

void ConnectionRegistry::remove(Id id) {
  std::lock_guard<std::mutex> lock(_mutex);
  const auto found = _entries.find(id);
  if (found == _entries.end()) return;
  if (!found->second.evicted) {
    --_open;
    if (found->second.state != ConnectionState::Idle) --_active;
  }
  _entries.erase(found);
  if (_entries.empty()) _emptied.notify_all();
}

std::size_t ConnectionRegistry::size() const {
  std::lock_guard<std::mutex> lock(_mutex);
  return _entries.size();
}

std::size_t ConnectionRegistry::active() const {
  std::lock_guard<std::mutex> lock(_mutex);
  return _active;
}

std::vector<std::shared_ptr<ConnectionControl>> ConnectionRegistry::everyConnection() const {
  std::vector<std::shared_ptr<ConnectionControl>> connections;
  std::lock_guard<std::mutex> lock(_mutex);
  connections.reserve(_entries.size());
  for (const auto& [id, entry] : _entries) {
    if (auto connection = entry.connection.lock()) connections.push_back(std::move(connection));
  }
  return connections;
}

void ConnectionRegistry::drainAll() {
  for (const auto& connection : everyConnection()) connection->drain();
}

void ConnectionRegistry::abandonAll() {
  for (const auto& connection : everyConnection()) connection->abandon();
}

bool ConnectionRegistry::awaitEmpty(Clock::time_point deadline) {
  std::unique_lock<std::mutex> lock(_mutex);
  return _emptied.wait_until(lock, deadline, [this] { return _entries.empty(); });
}

}  // namespace kest::server::http
