#include "app/model/background_work.hpp"

#include <QMetaObject>

namespace corvane {

void Lifeline::post(std::function<void()> task) {
    std::lock_guard lock(mutex_);
    // Posting under the lock means the receiver cannot be destroyed in between; an event
    // posted before the destructor runs is discarded with the object.
    if (receiver_ != nullptr) {
        QMetaObject::invokeMethod(receiver_, std::move(task), Qt::QueuedConnection);
    }
}

void Lifeline::cut() {
    std::lock_guard lock(mutex_);
    receiver_ = nullptr;
}

} // namespace corvane
