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

    // Told how many pieces wait behind it. Does not throw.
    using Work = std::function<void(std::size_t waiting)>;

    // False when the queue is full.
    bool add(Work work);
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
    std::deque<Work> waiting_;
    bool ending_ = false;
    std::thread thread_;
};

} // namespace velq::kit

#endif
