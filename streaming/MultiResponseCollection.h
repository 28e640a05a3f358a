#pragma once

#include <atomic>
#include <queue>
#include <utility>

#include "host/Config.h"
#include "host/CriticalSection.h"
#include "host/Event.h"
#include "host/Exception.h"
#include "host/Semaphore.h"
#include "host/SmartPointer.h"
#include "host/Time.h"
#include "host/Types.h"
#include "streaming/IMarker.h"

namespace kest {

// Lets the unit tests put a collection into states that the public interface
// cannot reach (a negative writer count). Defined only by the tests.
struct MultiResponseCollectionTestPeer;

// MultiResponseCollection<T>: a queue of results that any number of writers
// fill while one consumer drains it; the response of one request on its way
// from the query to the reply.
//
// Writers. The collection starts with one writer registered: the creator's
// own, released by allowComplete(). registerWriter() adds one (normally
// through a MultiResponseWriter), unregisterWriter() removes one. When the
// count drops to 0 the collection is complete: nothing more can be added and
// no writer can be registered again.
//
// Elements. add(value) queues a result; add(marker) queues a marker (see
// IMarker). hasNext() processes the markers that reach the front and says
// whether a result is ready; next() takes it. One gap: when hasNext() has to
// wait and wakes to find the collection complete, it only reports whether
// anything is queued, without processing markers; a marker queued during
// that wait, shortly before the last writer left, is then handed to next(),
// which reads it as a result (undefined). Markers are therefore safe only
// when the collection completes after the consumer has taken everything
// queued before it. The framework queues no markers.
//
// Errors. setErrorCode(code) records the first non-zero code. The code is
// visible (getErrorCode(), isComplete(), add() refusing input) only while
// nothing has ever been queued: once one element has been queued the response
// has started and the collection reports 0 and keeps accepting input.
//
// Waiting. The consumer waits on an auto-reset event that add() and the last
// unregisterWriter() set. Each wait lasts at most the configured transaction
// time-out, section "KEST", key "CimTransactionTimeout", in seconds, read once
// at construction: default 600; a configured value of 0 or less waits without
// a time-out (2147483647 s). hasNext() waits again after a time-out, so it
// returns only when a result is ready or the collection is complete.
// The idle time-out given to newCollection() is recorded but not enforced:
// the collection never times out by itself.
//
// Bounds. newCollection(bounds, ...) with bounds > 0 limits the results
// queued and not yet taken to bounds: add(value) then waits, without a
// time-out, for a free slot before it takes the lock, and next() waits for a
// queued element before it looks. next() gives the slot back. Markers never
// wait for a slot, yet hasNext() gives one back for each marker it processes,
// and each queued marker adds an element unit that next() does not use up:
// every processed marker therefore widens the bound by one for the rest of
// the collection's life, and lets a later next() on an empty queue throw
// instead of waiting. A refused add (no writers, error) keeps the slot it
// took. bounds == 0 is unbounded and touches no semaphore.
//
// Consumer done. signalConsumerDone() tells producers that nobody reads any
// more: later add(value) calls discard the value and return true, later
// add(marker) calls process the marker at once, and producers blocked for a
// slot return (discarding their value). Elements already queued stay queued.
//
// Ownership: created only by newCollection() and shared through TOVSmrPtr by
// the consumer and the writers. Queued elements are owned by the queue; on
// destruction they are released, markers without being processed.
//
// Threads: add(), setErrorCode(), registerWriter(), unregisterWriter() and
// allowComplete() may be called from any thread at once. hasNext(), next(),
// waitForResponse(), waitForEvent() and signalConsumerDone() belong to the
// single consumer. One re-entrant lock guards the state.
//
// Every failure throws TovaBaseException with empty type and who, where the
// failing operation (for example "MultiResponseCollection::add"), the message
// as documented at each member, and code 0 unless stated.
template <typename T>
class MultiResponseCollection {
 public:
  // wrapper<U>: the queue element that carries one result.
  template <typename U>
  class wrapper : public IMarker<U> {
   public:
    explicit wrapper(U item) : _item(std::move(item)) {}

    bool isMarker() const override { return false; }
    // A result has nothing to process.
    void process() const override {}
    U getItem() const { return _item; }

   private:
    U _item;
  };

  // Creates a collection with one writer registered (see allowComplete()).
  // bounds: the most results queued at once, 0 for no limit. idleTimeout:
  // recorded, not enforced (-1 conventionally means none).
  static TOVSmrPtr<MultiResponseCollection<T>> newCollection(unsigned int bounds, int idleTimeout) {
    return TOVSmrPtr<MultiResponseCollection<T>>(new MultiResponseCollection(bounds, idleTimeout));
  }

  virtual ~MultiResponseCollection() = default;

  // Queues a result. Returns true when queued, and when discarded because the
  // consumer is done. Waits for a free slot first when bounded. When no writer
  // is registered, returns false or (throwOnAbort) throws where
  // "MultiResponseCollection::add", "Addition of elements not permitted if no
  // writers are registered."; when an error code is visible, returns false or
  // throws "MultiResponseCollection::add", "An error has occurred with this
  // collection; no further input can be accepted." with that code.
  virtual bool add(T value, bool throwOnAbort) {
    if (_consumerDone.load(std::memory_order_relaxed)) return true;
    if (_bounds != 0) {
      _slots.wait();
      if (_consumerDone.load(std::memory_order_relaxed)) {
        // Woken by signalConsumerDone() (or racing with it): pass the unit on
        // to the next blocked producer and discard the value.
        _slots.release(1);
        return true;
      }
    }
    TOVCriticalSectionGuard guard(cs);
    if (registeredWriterCount == 0) {
      if (throwOnAbort) throwFailure("MultiResponseCollection::add", kNoWriters, 0);
      return false;
    }
    const int ec = getErrorCode();
    if (ec != 0) {
      if (throwOnAbort) throwFailure("MultiResponseCollection::add", kErrorOccurred, ec);
      return false;
    }
    responses.push(makeTOVSmrPtr<wrapper<T>>(std::move(value)));
    ++responseCount;
    if (_bounds != 0) _items.release(1);
    _event.set();
    return true;
  }

  // Queues a marker (which must not be null). Fails like add(value); never
  // waits for a slot. When the consumer is done, processes the marker at
  // once on the calling thread and returns true.
  virtual bool add(TOVSmrPtr<IMarker<T>> value, bool throwOnAbort) {
    if (_consumerDone.load(std::memory_order_relaxed)) {
      value->process();
      return true;
    }
    TOVCriticalSectionGuard guard(cs);
    if (registeredWriterCount == 0) {
      if (throwOnAbort) throwFailure("MultiResponseCollection::add", kNoWriters, 0);
      return false;
    }
    const int ec = _getErrorCode();
    if (ec != 0) {
      if (throwOnAbort) throwFailure("MultiResponseCollection::add", kErrorOccurred, ec);
      return false;
    }
    responses.push(std::move(value));
    ++responseCount;
    if (_bounds != 0) _items.release(1);
    _event.set();
    return true;
  }

  // Records ec when it is non-zero and no code has been recorded yet. Does
  // not wake the consumer.
  virtual void setErrorCode(int ec) {
    if (ec == 0) return;
    TOVCriticalSectionGuard guard(cs);
    if (errorCode == 0) errorCode = ec;
  }

  // Adds a writer. Throws "MultiResponseCollection::registerWriter", "Writers
  // may be registered only while collection is incomplete." once the count
  // has reached 0. A negative count (a broken collection) throws "Internal
  // error: negative count." under the name "MultiResponseCollection::
  // unregisterWriter", the same report as from unregisterWriter().
  void registerWriter() {
    TOVCriticalSectionGuard guard(cs);
    if (registeredWriterCount < 0) {
      throwFailure("MultiResponseCollection::unregisterWriter", kNegativeCount, 0);
    }
    if (registeredWriterCount == 0) {
      throwFailure("MultiResponseCollection::registerWriter", kIncomplete, 0);
    }
    ++registeredWriterCount;
  }

  // Removes a writer; the last one completes the collection and wakes the
  // consumer. Throws "MultiResponseCollection::unregisterWriter" with the
  // same "Writers may be registered only while collection is incomplete."
  // text when the count is already 0, and "Internal error: negative count."
  // when it is negative.
  void unregisterWriter() {
    TOVCriticalSectionGuard guard(cs);
    if (registeredWriterCount < 0) {
      throwFailure("MultiResponseCollection::unregisterWriter", kNegativeCount, 0);
    }
    if (registeredWriterCount == 0) {
      throwFailure("MultiResponseCollection::unregisterWriter", kIncomplete, 0);
    }
    if (--registeredWriterCount == 0) _event.set();
  }

  // Releases the writer the collection was created with, once: the collection
  // completes when every other writer has gone too. A second call throws
  // "MultiResponseCollection::allowComplete", "allowComplete() may only be
  // called once." and changes nothing.
  void allowComplete() {
    {
      TOVCriticalSectionGuard guard(cs);
      if (allowCompleteCalled) {
        throwFailure("MultiResponseCollection::allowComplete", kOnlyOnce, 0);
      }
      allowCompleteCalled = true;
    }
    unregisterWriter();
  }

  // Consumer: processes the markers at the front of the queue and returns
  // true as soon as a result is at the front; returns false when the queue
  // is empty and the collection complete (no writers, or an error code
  // visible). Otherwise waits for the next addition or completion and looks
  // again. Exceptions from a marker's process() reach the caller; that marker
  // has then been removed.
  bool hasNext() {
    for (;;) {
      {
        TOVCriticalSectionGuard guard(cs);
        while (!responses.empty()) {
          if (!responses.front()->isMarker()) return true;
          const TOVSmrPtr<IMarker<T>> marker = responses.front();
          responses.pop();
          marker->process();
          if (_bounds != 0) _slots.release(1);
        }
        if (_isComplete()) return false;
      }
      waitForEvent();
      if (isComplete()) {
        TOVCriticalSectionGuard guard(cs);
        return !responses.empty();
      }
    }
  }

  // Consumer: removes the result at the front and returns it. When bounded,
  // first waits (without a time-out) for a queued element. Throws
  // "MultiResponseCollection::next", "no more items." when the queue is
  // empty. The front is taken to be a result; call hasNext() first so that
  // markers have been processed.
  T next() {
    if (_bounds != 0) _items.wait();
    TOVCriticalSectionGuard guard(cs);
    if (responses.empty()) throwFailure("MultiResponseCollection::next", kNoMoreItems, 0);
    const auto* front = static_cast<const wrapper<T>*>(responses.front().get());
    T item = front->getItem();
    responses.pop();
    if (_bounds != 0) _slots.release(1);
    return item;
  }

  // The error code as visible now: 0 once anything has been queued,
  // otherwise the first non-zero code set (0 when none).
  int getErrorCode() {
    TOVCriticalSectionGuard guard(cs);
    return _getErrorCode();
  }

  // True when no writer is registered or an error code is visible.
  bool isComplete() {
    TOVCriticalSectionGuard guard(cs);
    return _isComplete();
  }

  // Consumer: waits for the event that additions and completion set, at most
  // the transaction time-out. Returns true when woken, false on time-out.
  bool waitForEvent() { return _event.timedWait(_waitTimeout) == 0; }

  // Consumer: says that nobody will read from this collection any more (see
  // the class comment). Producers blocked for a slot are woken one after the
  // other: this releases one slot, and every producer that wakes to find the
  // consumer done passes that slot on, so however many producers were
  // blocked, or are about to block, all of them return. Elements already
  // queued are neither removed nor processed. Does not wake the consumer.
  // Calling it again changes nothing that matters (one more slot unit).
  void signalConsumerDone() {
    _consumerDone.store(true, std::memory_order_relaxed);
    if (_bounds != 0) _slots.release(1);
  }

  // Consumer: waits until at least one element (a result or a marker) is
  // queued, or the collection is complete. Returns true when an element is
  // queued, false when the queue is empty and the collection complete.
  // Removes and processes nothing. It may consume the event, but every
  // decision is taken from the state under the lock, so a later hasNext()
  // misses nothing. Like hasNext(), it keeps waiting across time-outs.
  bool waitForResponse() {
    for (;;) {
      {
        TOVCriticalSectionGuard guard(cs);
        if (!responses.empty()) return true;
        if (_isComplete()) return false;
      }
      waitForEvent();
    }
  }

  // The idle time-out is not enforced (the collection never times out), so
  // there is no timer to restart: this does nothing, and in particular
  // changes neither completion nor the error code. It exists for producers
  // that report activity; they need not care whether a time-out is enforced.
  void resetTimer() {}

 private:
  friend struct MultiResponseCollectionTestPeer;

  static constexpr const char* kNoWriters =
      "Addition of elements not permitted if no writers are registered.";
  static constexpr const char* kErrorOccurred =
      "An error has occurred with this collection; no further input can be accepted.";
  static constexpr const char* kNegativeCount = "Internal error: negative count.";
  static constexpr const char* kIncomplete =
      "Writers may be registered only while collection is incomplete.";
  static constexpr const char* kOnlyOnce = "allowComplete() may only be called once.";
  static constexpr const char* kNoMoreItems = "no more items.";
  static constexpr TOVsint32 kDefaultTransactionTimeout = 600;
  static constexpr TOVsint32 kNoTransactionTimeout = 2147483647;

  MultiResponseCollection(unsigned int bounds, int idleTimeout)
      : timeoutLimit(idleTimeout), _bounds(bounds), _items(0), _slots(bounds) {
    TOVsint32 seconds = kDefaultTransactionTimeout;
    const KESTConfigManager* config = KESTConfigManager::getInstance();
    if (config != nullptr) {
      TOVsint32 value = kDefaultTransactionTimeout;
      if (config->getSint32("KEST", "CimTransactionTimeout", value)) {
        seconds = value >= 1 ? value : kNoTransactionTimeout;
      }
    }
    _waitTimeout = CI_RelTime(seconds, 0);
  }
  MultiResponseCollection(const MultiResponseCollection&) = delete;
  MultiResponseCollection& operator=(const MultiResponseCollection&) = delete;

  [[noreturn]] static void throwFailure(const char* where, const char* message, int code) {
    throw TovaBaseException("", where, "", message, code);
  }

  // The idle time-out is kept inert: whatever allowCompleteCalled and
  // timeoutLimit say, the collection is never timed out.
  bool isTimedOut() const { return false; }

  // Unlocked forms; the caller holds cs.
  int _getErrorCode() const {
    if (isTimedOut()) return 4096;
    if (responseCount != 0) return 0;
    return errorCode;
  }
  bool _isComplete() const { return registeredWriterCount == 0 || _getErrorCode() != 0; }

  int errorCode = 0;
  std::queue<TOVSmrPtr<IMarker<T>>> responses;
  int registeredWriterCount = 1;
  bool allowCompleteCalled = false;
  // The idle time-out given to newCollection(); recorded, not enforced.
  const int timeoutLimit;
  TOVCriticalSection cs;
  CI_AutoEvent _event;
  // The transaction time-out: the longest single wait of the consumer. Set
  // once at construction (the test peer may shorten it).
  CI_RelTime _waitTimeout;
  // Elements ever queued; never decremented.
  TOVuint32 responseCount = 0;
  // Logically a TOVboolean. An atomic with relaxed loads and stores instead
  // of a plain flag: producers read it without the lock, and a data race on a
  // plain bool is undefined (and reported by ThreadSanitizer). No ordering is
  // needed beyond what the semaphore and lock already give.
  std::atomic<bool> _consumerDone{false};
  unsigned int _bounds;
  TOVSemaphore _items;
  TOVSemaphore _slots;
};

}  // namespace kest
