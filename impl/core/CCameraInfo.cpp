#include "impl/core/CCameraInfo.h"

#include <array>

namespace orva::core {

namespace {

template <class T> void StoreIfChanged(std::atomic<T>& slot, T value) {
    if (slot.load(std::memory_order_relaxed) != value) {
        slot.store(value, std::memory_order_release);
    }
}

} // namespace

CCameraInfo::CCameraInfo() = default;

CCameraInfo::~CCameraInfo() = default;

void CCameraInfo::Reset() {
    working_ = Fields{};
    refillThread_.store(std::this_thread::get_id(), std::memory_order_release);
}

const char* CCameraInfo::Keep(const std::string& text) {
    return texts_.insert(text).first->c_str();
}

void CCameraInfo::Publish() {
    {
        templates::platform::MutexLock lock(textsMutex_);
        const std::array<std::pair<std::atomic<const char*>*, const std::string*>, 8> texts{{
            {&published_.deviceName, &working_.deviceName},
            {&published_.modelName, &working_.modelName},
            {&published_.manufacturerInfo, &working_.manufacturerInfo},
            {&published_.deviceVersion, &working_.deviceVersion},
            {&published_.serialNumber, &working_.serialNumber},
            {&published_.userId, &working_.userId},
            {&published_.firmwareVersion, &working_.firmwareVersion},
            {&published_.familyName, &working_.familyName},
        }};
        for (const auto& [slot, text] : texts) {
            StoreIfChanged(*slot, Keep(*text));
        }
    }
    StoreIfChanged(published_.controlPacketSizeLimit, working_.controlPacketSizeLimit);
    StoreIfChanged(published_.revision, working_.revision);
    StoreIfChanged(published_.versionsSupported, working_.versionsSupported);
    StoreIfChanged(published_.versionUsed, working_.versionUsed);
    refillThread_.store(std::thread::id{}, std::memory_order_release);
}

} // namespace orva::core
