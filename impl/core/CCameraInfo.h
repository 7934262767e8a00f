// The identity record a port fills in its discovery; the port hands it out
// through GetCameraInfo(), and any thread may read it.
//
// A refill works like a transaction. Reset() opens it on the calling thread,
// the setters fill a working record, and that thread reads back what it has
// written (the revision decides the next steps); Publish() closes it. Every
// other thread reads the published record meanwhile, which passes from one
// whole identity to the next field by field, never through an empty state.
// Published texts live in storage that only grows while the record lives, so
// a text pointer taken earlier still reads the whole text it read then.
//
// The working record isn't synchronised: the owning port fills it under a
// lock of its own, on one thread at a time.
#pragma once

#include <atomic>
#include <cstdint>
#include <set>
#include <string>
#include <thread>
#include <utility>

#include "impl/core/ICameraInfo.h"
#include "runtime/templates/Mutex.h"

namespace orva::core {

class CCameraInfo : public ICameraInfo {
public:
    CCameraInfo();
    ~CCameraInfo() override;
    CCameraInfo(const CCameraInfo&) = delete;
    CCameraInfo& operator=(const CCameraInfo&) = delete;
    CCameraInfo(CCameraInfo&&) = delete;
    CCameraInfo& operator=(CCameraInfo&&) = delete;

    // Each getter gives the working record on the thread of an open refill,
    // and the published record everywhere else.
    uint32_t GetControlPacketSizeLimit() const override {
        return Refilling() ? working_.controlPacketSizeLimit : published_.controlPacketSizeLimit.load();
    }
    uint32_t GetRevision() const override { return Refilling() ? working_.revision : published_.revision.load(); }
    const char* GetDeviceName() const override { return Text(working_.deviceName, published_.deviceName); }
    const char* GetModelName() const override { return Text(working_.modelName, published_.modelName); }
    const char* GetManufacturerInfo() const override {
        return Text(working_.manufacturerInfo, published_.manufacturerInfo);
    }
    const char* GetDeviceVersion() const override { return Text(working_.deviceVersion, published_.deviceVersion); }
    const char* GetSerialNumber() const override { return Text(working_.serialNumber, published_.serialNumber); }
    const char* GetUserId() const override { return Text(working_.userId, published_.userId); }
    const char* GetFirmwareVersion() const override {
        return Text(working_.firmwareVersion, published_.firmwareVersion);
    }
    const char* GetFamilyName() const override { return Text(working_.familyName, published_.familyName); }

    uint32_t GetVersionsSupported() const {
        return Refilling() ? working_.versionsSupported : published_.versionsSupported.load();
    }
    // True when every bit of `mask` is among the versions supported.
    bool IsVersionSupported(uint32_t mask) const { return (GetVersionsSupported() & mask) == mask; }
    uint32_t GetVersionUsed() const { return Refilling() ? working_.versionUsed : published_.versionUsed.load(); }

    // Outside a refill each setter publishes its value at once (a user id
    // read again); inside one it waits for Publish.
    void SetControlPacketSizeLimit(uint32_t value) { Set(working_.controlPacketSizeLimit, value); }
    void SetRevision(uint32_t value) { Set(working_.revision, value); }
    void SetVersionsSupported(uint32_t value) { Set(working_.versionsSupported, value); }
    void SetVersionUsed(uint32_t value) { Set(working_.versionUsed, value); }
    void SetDeviceName(std::string value) { Set(working_.deviceName, std::move(value)); }
    void SetModelName(std::string value) { Set(working_.modelName, std::move(value)); }
    void SetManufacturerInfo(std::string value) { Set(working_.manufacturerInfo, std::move(value)); }
    void SetDeviceVersion(std::string value) { Set(working_.deviceVersion, std::move(value)); }
    void SetSerialNumber(std::string value) { Set(working_.serialNumber, std::move(value)); }
    void SetUserId(std::string value) { Set(working_.userId, std::move(value)); }
    void SetFirmwareVersion(std::string value) { Set(working_.firmwareVersion, std::move(value)); }
    void SetFamilyName(std::string value) { Set(working_.familyName, std::move(value)); }

    // Opens a refill on the calling thread: zeroes all values and empties all
    // texts of the working record. Ports call it before they read a camera's
    // identity anew; other threads keep seeing the last published record.
    void Reset();
    // Closes the refill: the working record becomes the published one, field
    // by field, changing only what differs.
    void Publish();

private:
    struct Fields {
        uint32_t controlPacketSizeLimit = 0;
        uint32_t revision = 0;
        uint32_t versionsSupported = 0;
        uint32_t versionUsed = 0;
        std::string deviceName;
        std::string modelName;
        std::string manufacturerInfo;
        std::string deviceVersion;
        std::string serialNumber;
        std::string userId;
        std::string firmwareVersion;
        std::string familyName;
    };

    // What readers on other threads see: each field is one atomic word, and
    // each text points into texts_.
    struct PublishedRecord {
        std::atomic<uint32_t> controlPacketSizeLimit{0};
        std::atomic<uint32_t> revision{0};
        std::atomic<uint32_t> versionsSupported{0};
        std::atomic<uint32_t> versionUsed{0};
        std::atomic<const char*> deviceName{""};
        std::atomic<const char*> modelName{""};
        std::atomic<const char*> manufacturerInfo{""};
        std::atomic<const char*> deviceVersion{""};
        std::atomic<const char*> serialNumber{""};
        std::atomic<const char*> userId{""};
        std::atomic<const char*> firmwareVersion{""};
        std::atomic<const char*> familyName{""};
    };

    bool Refilling() const { return refillThread_.load(std::memory_order_acquire) == std::this_thread::get_id(); }
    const char* Text(const std::string& working, const std::atomic<const char*>& published) const {
        return Refilling() ? working.c_str() : published.load(std::memory_order_acquire);
    }
    template <class T, class V> void Set(T& field, V&& value) {
        field = std::forward<V>(value);
        if (!Refilling()) {
            Publish();
        }
    }

    // The stored copy of `text`: one per distinct text, never freed before
    // this object.
    const char* Keep(const std::string& text) REQUIRES(textsMutex_);

    // Written and read by the refilling thread only, under the port's lock.
    Fields working_;
    PublishedRecord published_;
    // The thread of the open refill; none outside one.
    std::atomic<std::thread::id> refillThread_{};
    // Guards the text storage; readers of the published record never take it.
    templates::platform::Mutex textsMutex_;
    std::set<std::string, std::less<>> texts_ GUARDED_BY(textsMutex_); // only grows
};

} // namespace orva::core
