// Work that runs ahead in other threads and is taken in the order in which it was given.
#ifndef QRX_SERVER_IMPORT_AHEAD_H
#define QRX_SERVER_IMPORT_AHEAD_H

#include <algorithm>
#include <cstddef>
#include <deque>
#include <future>
#include <thread>
#include <utility>

namespace qrx::server {

template <class Result>
class Ahead {
public:
    template <class Work>
    void Give(Work work) {
        m_queue.push_back(std::async(std::move(work)));
    }
    // Nothing more should be given before something is taken.
    bool IsFull() const { return m_queue.size() >= m_nMost; }
    bool IsEmpty() const { return m_queue.empty(); }
    // The oldest; throws what its work threw.
    Result Take() {
        std::future<Result> oldest = std::move(m_queue.front());
        m_queue.pop_front();
        return oldest.get();
    }

private:
    // Twice as many as can run and one more: enough to do while the one that takes is busy.
    const size_t m_nMost = 2 * std::clamp(std::thread::hardware_concurrency(), 1U, 8U) + 1;
    std::deque<std::future<Result>> m_queue;  // their destructors wait
};

}  // namespace qrx::server

#endif
