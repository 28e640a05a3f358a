// Hand-over cost of the streaming collection: writer threads add results
// while the main thread drains them with hasNext()/next(), against a plain
// mutex-protected std::deque with a condition variable moving the same items
// across the same threads. Items are TOVSmrPtr<int>, made by the writers.
// Arguments: the number of writer threads. Each iteration moves kItems items
// and includes starting and joining the writer threads.
#include <benchmark/benchmark.h>

#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>
#include <vector>

#include "host/SmartPointer.h"
#include "streaming/IResponse.h"
#include "streaming/MultiResponseCollection.h"
#include "streaming/MultiResponseWriter.h"

namespace {

constexpr int kItems = 100000;

using Item = TOVSmrPtr<int>;

void BM_CollectionHandOver(benchmark::State& state) {
  const int writers = static_cast<int>(state.range(0));
  const int perWriter = kItems / writers;
  long long sum = 0;
  for (auto _ : state) {
    const auto collection = kest::MultiResponseCollection<Item>::newCollection(0, -1);
    std::vector<std::thread> threads;
    for (int w = 0; w < writers; ++w) {
      TOVSmrPtr<kest::IMultiResponse<Item>> writer(new kest::MultiResponseWriter<Item>(collection));
      threads.emplace_back([writer, perWriter]() mutable {
        for (int i = 0; i < perWriter; ++i) writer->add(Item(new int(i)), true);
        writer.reset();
      });
    }
    collection->allowComplete();
    while (collection->hasNext()) sum += *collection->next();
    for (auto& thread : threads) thread.join();
  }
  benchmark::DoNotOptimize(sum);
  state.SetItemsProcessed(state.iterations() * static_cast<long long>(perWriter) * writers);
}
BENCHMARK(BM_CollectionHandOver)->Arg(1)->Arg(4)->UseRealTime()->Unit(benchmark::kMillisecond);

// The baseline: the least a hand-over between threads needs.
struct Channel {
  std::mutex mutex;
  std::condition_variable ready;
  std::deque<Item> queue;
  int openWriters = 0;
};

void BM_DequeHandOver(benchmark::State& state) {
  const int writers = static_cast<int>(state.range(0));
  const int perWriter = kItems / writers;
  long long sum = 0;
  for (auto _ : state) {
    Channel channel;
    channel.openWriters = writers;
    std::vector<std::thread> threads;
    for (int w = 0; w < writers; ++w) {
      threads.emplace_back([&channel, perWriter] {
        for (int i = 0; i < perWriter; ++i) {
          Item item(new int(i));
          {
            std::lock_guard<std::mutex> lock(channel.mutex);
            channel.queue.push_back(std::move(item));
          }
          channel.ready.notify_one();
        }
        {
          std::lock_guard<std::mutex> lock(channel.mutex);
          --channel.openWriters;
        }
        channel.ready.notify_one();
      });
    }
    std::unique_lock<std::mutex> lock(channel.mutex);
    for (;;) {
      channel.ready.wait(lock, [&] { return !channel.queue.empty() || channel.openWriters == 0; });
      if (channel.queue.empty()) break;
      Item item = std::move(channel.queue.front());
      channel.queue.pop_front();
      lock.unlock();
      sum += *item;
      item.reset();
      lock.lock();
    }
    lock.unlock();
    for (auto& thread : threads) thread.join();
  }
  benchmark::DoNotOptimize(sum);
  state.SetItemsProcessed(state.iterations() * static_cast<long long>(perWriter) * writers);
}
BENCHMARK(BM_DequeHandOver)->Arg(1)->Arg(4)->UseRealTime()->Unit(benchmark::kMillisecond);

}  // namespace
