// A technology of the tests' own: ports whose discovery result is set by the
// test, and a controller that records what the core asked of it.
#pragma once

#include <array>
#include <atomic>
#include <cstring>
#include <memory>
#include <vector>

#include "impl/core/CCameraInfo.h"
#include "impl/core/IControllerInterface.h"
#include "include/tgx_genicam.h"

namespace orva::test {

class FakePort : public core::IPortInterface {
public:
    explicit FakePort(uint32_t number) : number_(number) {
        for (std::size_t i = 0; i < memory_.size(); ++i) {
            memory_[i] = static_cast<uint8_t>(i);
        }
    }

    // What the next discovery finds on this port.
    void SetCamera(uint32_t linkIndex, uint32_t cameraId, uint32_t linkNumber) {
        linkIndex_ = linkIndex;
        masterId_ = (cameraId << 16) | linkNumber;
        appletMasterId_ = ((cameraId + 0x10) << 16) | linkNumber;
        connected_ = linkIndex != core::kLinkIndexNoCamera;
    }
    void SetNoCamera() {
        linkIndex_ = core::kLinkIndexNoCamera;
        masterId_ = 0xFFFFFFFF;
        connected_ = false;
    }

    void Read(void*, int64_t, int64_t) override {}
    void Write(const void*, int64_t, int64_t) override {}
    uint32_t GetLinkIndex() override { return linkIndex_; }
    uint32_t GetPortNumber() override { return number_; }
    uint32_t GetAppletPort() override { return number_; }
    uint32_t GetMasterId() override { return masterId_; }
    uint32_t GetAppletMasterId() override { return appletMasterId_; }
    uint32_t GetLinkSpeed() override { return connected_ ? 6250 : 0xFFFFFFFF; }
    bool IsConnected() override { return connected_; }
    bool IsTransceiverLocked() override { return connected_; }
    bool IsValidAddress(uint64_t) override { return false; }
    uint32_t GetControlPacketSize() override { return 1024; }
    uint32_t GetStreamPacketSize() override { return 2048; }
    core::ICameraInfo* GetCameraInfo() override { return &info_; }
    // The camera's identity as the next discovery reads it, field by field
    // as a technology does.
    void SetIdentityOnCamera(std::string deviceName, std::string serialNumber) {
        deviceNameOnCamera_ = std::move(deviceName);
        serialNumberOnCamera_ = std::move(serialNumber);
    }
    void SaveCameraInfo() override {
        info_.Reset();
        info_.SetDeviceName(deviceNameOnCamera_);
        info_.SetSerialNumber(serialNumberOnCamera_);
        info_.Publish();
    }
    // The camera's user id as the next update reads it.
    void SetUserIdOnCamera(std::string id) { userIdOnCamera_ = std::move(id); }
    void UpdateCameraInfo() override { info_.SetUserId(userIdOnCamera_); }
    // The camera's description; a fetch of an empty one fails as a camera
    // without a manifest would.
    void SetDescription(std::string xml) { description_ = std::move(xml); }
    int GetXmlInfoCalls = 0;
    int32_t GetXmlInfo(std::string& xml, uint32_t) override {
        ++GetXmlInfoCalls;
        if (description_.empty()) {
            return TGX_ERR_CXP_INVALID_ADDRESS;
        }
        xml = description_;
        return TGX_OK;
    }
    uint32_t GetNodeMapReadTimeoutMs() override { return 200; }
    uint32_t GetNodeMapWriteTimeoutMs() override { return 250; }
    // A small address space; every byte starts as the low byte of its address.
    // Every read fails with this status from now on (0: reads work).
    void SetReadFailure(int32_t status) { readFailure_ = status; }
    int32_t ReadMem(uint32_t address, void* buffer, uint32_t length, uint32_t timeoutMs) override {
        lastTimeoutMs.store(timeoutMs);
        if (readFailure_ != TGX_OK) {
            return readFailure_;
        }
        if (static_cast<uint64_t>(address) + length > memory_.size()) {
            return TGX_ERR_CXP_INVALID_ADDRESS;
        }
        std::memcpy(buffer, memory_.data() + address, length);
        return TGX_OK;
    }
    int32_t WriteMem(uint32_t address, const void* buffer, uint32_t length, uint32_t timeoutMs) override {
        lastTimeoutMs.store(timeoutMs);
        if (static_cast<uint64_t>(address) + length > memory_.size()) {
            return TGX_ERR_CXP_INVALID_ADDRESS;
        }
        std::memcpy(memory_.data() + address, buffer, length);
        return TGX_OK;
    }
    uint8_t* memory() { return memory_.data(); }
    std::atomic<uint32_t> lastTimeoutMs{0}; // feature reads may come from several threads

private:
    uint32_t number_;
    uint32_t linkIndex_ = core::kLinkIndexNoCamera;
    uint32_t masterId_ = 0xFFFFFFFF;
    uint32_t appletMasterId_ = 0xFFFFFFFF;
    bool connected_ = false;
    core::CCameraInfo info_;
    std::string userIdOnCamera_;
    std::string deviceNameOnCamera_;
    std::string serialNumberOnCamera_;
    std::string description_;
    int32_t readFailure_ = TGX_OK;
    std::array<uint8_t, 4096> memory_{};
};

class FakeController : public core::IControllerInterface {
public:
    explicit FakeController(uint32_t nrOfPorts) {
        for (uint32_t i = 0; i < nrOfPorts; ++i) {
            ports_.push_back(std::make_unique<FakePort>(i));
        }
    }

    FakePort& port(uint32_t i) { return *ports_.at(i); }
    void SetDiscoveryResult(int32_t status) { discoveryResult_ = status; }
    // Reports a link change as the technology's worker would.
    void Report(core::LinkEventKind kind, uint32_t mask) {
        if (sink_ != nullptr) {
            sink_(kind, mask, context_);
        }
    }

    std::vector<std::string> calls;

    void WaitAfterReset() override { calls.emplace_back("WaitAfterReset"); }
    void SetEventCallback(core::ControllerEventSink sink, void* context) override {
        calls.emplace_back("SetEventCallback");
        sink_ = sink;
        context_ = context;
    }
    void PowerOn(uint32_t mask) override { calls.push_back("PowerOn " + std::to_string(mask)); }
    void PowerOff(uint32_t mask) override { calls.push_back("PowerOff " + std::to_string(mask)); }
    int32_t SetDiscoverySelector(uint64_t) override { return TGX_OK; }
    uint64_t GetDiscoverySelector() override { return core::kIdentitySelector; }
    int32_t DiscoverCameras(uint32_t mask, uint32_t speed, uint32_t timeoutMs) override {
        calls.push_back("DiscoverCameras " + std::to_string(mask) + " " + std::to_string(speed) + " " +
                        std::to_string(timeoutMs));
        return discoveryResult_;
    }
    void ResetController() override { calls.emplace_back("ResetController"); }
    int32_t GetBoardProperty(const char*, void*, uint32_t, uint32_t*) override { return TGX_ERR_NOT_IMPLEMENTED; }
    int32_t SetBoardProperty(const char* name, void* value, uint32_t type, uint32_t* extra) override {
        calls.push_back(std::string("SetBoardProperty ") + name + " " + std::to_string(*static_cast<uint32_t*>(value)) +
                        " type " + std::to_string(type) + " port " +
                        (extra != nullptr ? std::to_string(*extra) : "none"));
        return TGX_OK;
    }
    uint32_t GetNrOfPorts() override { return static_cast<uint32_t>(ports_.size()); }
    core::IPortInterface* GetPort(uint32_t index) override {
        return index < ports_.size() ? ports_[index].get() : nullptr;
    }
    int32_t SetPortLinkSpeed(uint32_t, uint32_t) override { return TGX_ERR_NOT_IMPLEMENTED; }
    int32_t ResetPortCores(uint32_t, uint32_t) override { return TGX_ERR_NOT_IMPLEMENTED; }

private:
    std::vector<std::unique_ptr<FakePort>> ports_;
    int32_t discoveryResult_ = TGX_OK;
    core::ControllerEventSink sink_ = nullptr;
    void* context_ = nullptr;
};

} // namespace orva::test
