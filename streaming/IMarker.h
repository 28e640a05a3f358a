#pragma once

namespace kest {

// IMarker<T>: an element of a MultiResponseCollection<T>'s queue. The queue
// holds results and markers alike behind this interface:
//   - a result (MultiResponseCollection<T>::wrapper) answers isMarker() false
//     and carries one value of T;
//   - a marker answers isMarker() true and carries no value. It is a note that
//     a producer leaves in the stream: the consumer runs process() when the
//     marker reaches the front of the queue, that is, after every element
//     queued before it has been delivered. When the consumer has said it reads
//     no more, a marker is processed at once by the thread that adds it.
// process() runs exactly once per marker that reaches the front or is added
// after the consumer has finished; a marker still queued when the collection
// is destroyed is released without being processed.
// Ownership: elements are shared through TOVSmrPtr; the queue holds one
// reference until the element is delivered, processed or destroyed.
// Threads: process() runs on the consumer's thread, under the collection's
// lock (or on the adding thread, as said above); it must not wait for a
// producer of the same collection.
template <typename T>
class IMarker {
 public:
  virtual bool isMarker() const = 0;
  virtual void process() const = 0;
  virtual ~IMarker() = default;
};

}  // namespace kest
