// The queue and its thread.
#include "kit/serve/work_queue.h"

namespace velq::kit {

WorkQueue::WorkQueue(std::size_t limit) : limit_(limit), thread_([this] { run(); }) {}

WorkQueue::~WorkQueue()
{
    {
        const std::scoped_lock lock(mutex_);
        ending_ = true;
    }
    changed_.notify_all();
    thread_.join();
}

bool WorkQueue::add(Work work)
{
    {
        const std::scoped_lock lock(mutex_);
        if (waiting_.size() >= limit_) {
            return false;
        }
        waiting_.push_back(std::move(work));
    }
    changed_.notify_one();
    return true;
}

std::size_t WorkQueue::length() const
{
    const std::scoped_lock lock(mutex_);
    return waiting_.size();
}

void WorkQueue::run()
{
    std::unique_lock lock(mutex_);
    while (true) {
        changed_.wait(lock, [this] { return ending_ || !waiting_.empty(); });
        if (waiting_.empty()) {
            return;
        }
        const Work work = std::move(waiting_.front());
        waiting_.pop_front();
        const std::size_t waiting = waiting_.size();
        lock.unlock();
        work(waiting);
        lock.lock();
    }
}

} // namespace velq::kit
