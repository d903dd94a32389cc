#include "tvn_msg_lru_queue.h"

#include <cstring>
#include <utility>

#include "tvn_msg_def.h"
#include "tvn_msg_log.h"
#include "tvn_time.h"

void tvn_msg_lru_queue::worker_idle(std::string worker) { workers_.push_back(std::move(worker)); }

tvn_msg_lru_queue::admit_result tvn_msg_lru_queue::admit(const std::string& client,
                                                         zmq::message_t& frame,
                                                         std::string& worker) {
    if (requests_.size() > MAX_QUEUED_REQUESTS - 1) {
        TVN_MSG_LOG_ERR(TVN_MSG_ERR_NOMEM, "the msg server worker receive too many message(%d).",
                        static_cast<int>(requests_.size()));
        return admit_result::full;
    }
    if (workers_.empty()) {
        request queued;
        queued.client = client;
        queued.arrival = GetCurTimeStamp();
        std::memcpy(&queued.id, frame.data<char>(), sizeof(queued.id));
        std::memcpy(&queued.ext, frame.data<char>() + 4, sizeof(queued.ext));
        queued.frame = std::move(frame);
        requests_.push_back(std::move(queued));
        return admit_result::queued;
    }
    worker = std::move(workers_.front());
    workers_.pop_front();
    return admit_result::dispatch;
}

bool tvn_msg_lru_queue::next(std::string& worker, request& out) {
    bool found = false, popped = false;
    while (!found && !requests_.empty() && !workers_.empty()) {
        request& oldest = requests_.front();
        const uint64_t span = oldest.ext / 1000 + 1;
        if (oldest.ext != 0 && IsTimeout(oldest.arrival, span)) {
            // Its caller has given up: no worker computes an answer for nobody.
            TVN_MSG_LOG_ERR(TVN_MSG_ERR_TIMEOUT,
                            "The request msg(id:%u) is abandoned because of overtime.", oldest.id);
        } else {
            out = std::move(oldest);
            worker = std::move(workers_.front());
            workers_.pop_front();
            found = true;
        }
        requests_.pop_front();
        popped = true;
    }
    // A burst's worth of queue memory goes back once the queue is empty.
    if (popped && requests_.empty()) std::deque<request>().swap(requests_);
    return found;
}
