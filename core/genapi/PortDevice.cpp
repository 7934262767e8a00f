#include "core/genapi/PortDevice.h"

#include <cstring>
#include <string>
#include <utility>

namespace orva::core::genapi::detail {

struct PortDevice::State {
    std::shared_ptr<IRegisterPort> port;
    std::exception_ptr failure;
};

namespace {

// The GObject instance. Its state belongs to the PortDevice that made it and
// is detached before the PortDevice goes, so a reference that Aravis might
// still hold can't reach freed memory.
struct OrvaPortDevice {
    ArvDevice parent;
    PortDevice::State* state;
};

struct OrvaPortDeviceClass {
    ArvDeviceClass parent;
};

PortDevice::State* StateOf(ArvDevice* device) {
    return reinterpret_cast<OrvaPortDevice*>(device)->state;
}

// Records what the port threw and reports it to Aravis. The status becomes
// the GError code so that Aravis's own text keeps it too.
gboolean Failed(PortDevice::State* state, GError** error) {
    std::exception_ptr failure = std::current_exception();
    int32_t status = 0;
    std::string text = "register access failed";
    try {
        std::rethrow_exception(failure);
    } catch (const PortError& e) {
        status = e.GetStatus();
        text = e.what();
    } catch (const std::exception& e) {
        text = e.what();
    } catch (...) {
        failure = std::make_exception_ptr(GenApiError("the register port threw an unknown exception"));
        text = "the register port threw an unknown exception";
    }
    if (state->failure == nullptr) {
        state->failure = failure;
    }
    g_set_error_literal(error, PortErrorQuark(), status, text.c_str());
    return FALSE;
}

// A device whose PortDevice is gone.
gboolean Detached(GError** error) {
    g_set_error_literal(error, PortErrorQuark(), 0, "the node map is closed");
    return FALSE;
}

// One register access of Aravis, through the connected port. The callbacks
// run inside Aravis's C code: nothing may leave them by exception.
template <class Access> gboolean Through(ArvDevice* device, GError** error, Access access) {
    PortDevice::State* state = StateOf(device);
    if (state == nullptr) {
        return Detached(error);
    }
    try {
        if (state->port == nullptr) {
            throw GenApiError("the node map isn't connected to a port");
        }
        access(*state->port);
        return TRUE;
    } catch (...) {
        return Failed(state, error);
    }
}

gboolean ReadMemory(ArvDevice* device, guint64 address, guint32 size, void* buffer, GError** error) {
    return Through(device, error, [&](IRegisterPort& port) { port.Read(address, buffer, size); });
}

gboolean WriteMemory(ArvDevice* device, guint64 address, guint32 size, void* buffer, GError** error) {
    return Through(device, error, [&](IRegisterPort& port) { port.Write(address, buffer, size); });
}

// The register pair carries a 32-bit value in host order; the camera's
// registers are big-endian, as everywhere in this library.
gboolean ReadRegister(ArvDevice* device, guint64 address, guint32* value, GError** error) {
    guint32 raw = 0;
    if (ReadMemory(device, address, sizeof raw, &raw, error) == FALSE) {
        return FALSE;
    }
    *value = GUINT32_FROM_BE(raw);
    return TRUE;
}

gboolean WriteRegister(ArvDevice* device, guint64 address, guint32 value, GError** error) {
    guint32 raw = GUINT32_TO_BE(value);
    return WriteMemory(device, address, sizeof raw, &raw, error);
}

void ClassInit(gpointer klass, gpointer /*data*/) {
    auto* deviceClass = reinterpret_cast<ArvDeviceClass*>(klass);
    deviceClass->read_memory = ReadMemory;
    deviceClass->write_memory = WriteMemory;
    deviceClass->read_register = ReadRegister;
    deviceClass->write_register = WriteRegister;
}

GType PortDeviceType() {
    // Registered once per process; GLib never unregisters a static type.
    static const GType type =
        g_type_register_static_simple(ARV_TYPE_DEVICE, "OrvaPortDevice", sizeof(OrvaPortDeviceClass), ClassInit,
                                      sizeof(OrvaPortDevice), nullptr, static_cast<GTypeFlags>(0));
    return type;
}

} // namespace

GQuark PortErrorQuark() {
    return g_quark_from_static_string("orva-genapi-port-error");
}

PortDevice::PortDevice()
    : state_(std::make_unique<State>()), device_(static_cast<ArvDevice*>(g_object_new(PortDeviceType(), nullptr))) {
    reinterpret_cast<OrvaPortDevice*>(device_.get())->state = state_.get();
}

PortDevice::~PortDevice() {
    reinterpret_cast<OrvaPortDevice*>(device_.get())->state = nullptr;
}

void PortDevice::SetPort(std::shared_ptr<IRegisterPort> port) {
    state_->port = std::move(port);
}

bool PortDevice::HasPort() const {
    return state_->port != nullptr;
}

bool PortDevice::HasFailure() const {
    return state_->failure != nullptr;
}

std::exception_ptr PortDevice::TakeFailure() {
    return std::exchange(state_->failure, nullptr);
}

} // namespace orva::core::genapi::detail
