// One known camera: its record and the lock that guards it. Entries are shared
// so that an answer still being parsed keeps its record alive while the camera
// is removed from the map.
#pragma once

#include <memory>
#include <mutex>
#include <utility>

#include "model/cam_param.h"

class CameraEntry {
public:
    CameraEntry() = default;
    explicit CameraEntry(CAM_PARAM record) : record_(std::move(record)) {}

    // Runs fn on the record under the camera's lock. fn must not call the
    // client library, a host callback or take another lock.
    template <class Fn>
    decltype(auto) update(Fn&& fn) {
        std::lock_guard<std::mutex> lock(mutex_);
        return std::forward<Fn>(fn)(record_);
    }

    template <class Fn>
    decltype(auto) read(Fn&& fn) const {
        std::lock_guard<std::mutex> lock(mutex_);
        return std::forward<Fn>(fn)(static_cast<const CAM_PARAM&>(record_));
    }

    CAM_PARAM snapshot() const {
        std::lock_guard<std::mutex> lock(mutex_);
        return record_;
    }

private:
    mutable std::mutex mutex_;
    CAM_PARAM record_;
};

using CameraEntryPtr = std::shared_ptr<CameraEntry>;
