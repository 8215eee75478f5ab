// One thread that does pieces of work one after the other, and the bounded queue before it.
#ifndef VELQ_KIT_SERVE_WORK_QUEUE_H
#define VELQ_KIT_SERVE_WORK_QUEUE_H

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>

namespace velq::kit {

class WorkQueue {
  public:
    // `limit` pieces may wait beside the one that is being done.
    explicit WorkQueue(std::size_t limit);
    // Does what waits, then ends.
    ~WorkQueue();
    WorkQueue(const WorkQueue &) = delete;
    WorkQueue &operator=(const WorkQueue &) = delete;

    // False when the queue is full. Work does not throw.
    bool add(std::function<void()> work);
    // Those that wait.
    std::size_t length() const;

    std::size_t limit() const
    {
        return limit_;
    }

  private:
    void run();

    std::size_t limit_;
    mutable std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<std::function<void()>> waiting_;
    bool ending_ = false;
    std::thread thread_;
};

} // namespace velq::kit

#endif
