#include "core/genapi/NodeMap.h"

#include <arv.h>

#include <array>
#include <charconv>
#include <cmath>
#include <concepts>
#include <exception>
#include <mutex>
#include <unordered_map>
#include <utility>

#include "core/genapi/AravisLog.h"
#include "core/genapi/DescriptionCheck.h"
#include "core/genapi/GObjectPtr.h"
#include "core/genapi/PortDevice.h"

namespace orva::core::genapi {

namespace detail {

// What a map and its handles share. Aravis's node map isn't thread-safe:
// every use of `genicam` and `device` happens under `mutex`.
class NodeMapState {
public:
    std::mutex mutex;
    PortDevice device; // declared before `genicam`, so that it goes after it
    GObjectPtr<ArvGc> genicam;
    // The access mode of each node used so far: the mode itself where it
    // can't change (see FixedAccess in NodeMap.cpp), empty where it is
    // evaluated on every use. Under `mutex`.
    std::unordered_map<ArvGcNode*, std::optional<AccessMode>> accessModes;

    static Node MakeNode(const std::shared_ptr<NodeMapState>& state, ArvGcNode* node) { return Node(state, node); }
    static EnumEntry MakeEntry(const std::shared_ptr<NodeMapState>& state, ArvGcNode* node) {
        return EnumEntry(state, node);
    }
};

} // namespace detail

namespace {

using detail::GErrorHolder;
using detail::GObjectPtr;
using detail::NodeMapState;

ArvGcFeatureNode* Feature(ArvGcNode* node) {
    return ARV_GC_FEATURE_NODE(node);
}

std::string NameOf(ArvGcNode* node) {
    const char* name = arv_gc_feature_node_get_name(Feature(node));
    return name != nullptr ? name : "";
}

std::string Text(const char* text) {
    return text != nullptr ? text : "";
}

// The map's lock, with the thread marked as working in Aravis.
class MapLock {
public:
    explicit MapLock(NodeMapState& state) : lock_(state.mutex) {}

private:
    std::lock_guard<std::mutex> lock_;
    detail::AravisScope scope_;
};

// One operation on a node under the map's lock. After each Aravis call,
// Check() throws what went wrong: the port's own exception first, since
// Aravis may have prefixed, replaced or dropped it, then Aravis's error.
class Operation {
public:
    Operation(NodeMapState& state, ArvGcNode* node, const char* verb)
        : lock_(state), state_(state), node_(node), verb_(verb) {
        (void)state_.device.TakeFailure();
    }

    GError** Error() { return error_.Out(); }
    NodeMapState& State() { return state_; }

    void Check() {
        std::exception_ptr failure = state_.device.TakeFailure();
        if (failure != nullptr) {
            const std::string detail = error_ ? error_.Message() : std::string();
            error_.Clear();
            try {
                std::rethrow_exception(failure);
            } catch (const PortError& e) {
                throw PortError(e.GetStatus(), Context() + (detail.empty() ? e.what() : detail));
            } catch (const std::exception& e) {
                throw GenApiError(Context() + (detail.empty() ? e.what() : detail));
            }
        }
        if (!error_) {
            return;
        }
        const GError* error = error_.Get();
        std::string text = Context() + error_.Message();
        const bool ofGenicam = error->domain == ARV_GC_ERROR;
        const int code = error->code;
        error_.Clear();
        if (ofGenicam && (code == ARV_GC_ERROR_OUT_OF_RANGE || code == ARV_GC_ERROR_ENUM_ENTRY_NOT_FOUND ||
                          code == ARV_GC_ERROR_INVALID_LENGTH)) {
            throw OutOfRangeError(text);
        }
        if (ofGenicam && code == ARV_GC_ERROR_READ_ONLY) {
            throw AccessError(text);
        }
        throw GenApiError(text);
    }

    // Like Check(), but an error of Aravis's own with the code `accept` is
    // reported as false instead of thrown. A failure of the port always
    // throws.
    bool CheckAccepting(int accept) {
        if (error_ && error_.Get()->domain == ARV_GC_ERROR && error_.Get()->code == accept &&
            !state_.device.HasFailure()) {
            error_.Clear();
            return false;
        }
        Check();
        return true;
    }

    std::string Context() const { return std::string(verb_) + " " + NameOf(node_) + ": "; }

private:
    MapLock lock_;
    NodeMapState& state_;
    ArvGcNode* node_;
    const char* verb_;
    GErrorHolder error_;
};

AccessMode Restrict(AccessMode mode, ArvGcAccessMode limit) {
    if (limit == ARV_GC_ACCESS_MODE_RO) {
        return mode == AccessMode::RW ? AccessMode::RO : mode == AccessMode::WO ? AccessMode::NA : mode;
    }
    if (limit == ARV_GC_ACCESS_MODE_WO) {
        return mode == AccessMode::RW ? AccessMode::WO : mode == AccessMode::RO ? AccessMode::NA : mode;
    }
    return mode;
}

// NI from pIsImplemented, NA from pIsAvailable; then the register's own mode,
// narrowed by the imposed one and by pIsLocked (a locked feature can't be
// written).
AccessMode EvaluateAccess(Operation& op, ArvGcNode* node) {
    ArvGcFeatureNode* feature = Feature(node);
    const bool implemented = arv_gc_feature_node_is_implemented(feature, op.Error()) != FALSE;
    op.Check();
    if (!implemented) {
        return AccessMode::NI;
    }
    const bool available = arv_gc_feature_node_is_available(feature, op.Error()) != FALSE;
    op.Check();
    if (!available) {
        return AccessMode::NA;
    }
    AccessMode mode = AccessMode::RW;
    mode = Restrict(mode, arv_gc_feature_node_get_actual_access_mode(feature));
    mode = Restrict(mode, arv_gc_feature_node_get_imposed_access_mode(feature));
    op.Check();
    const bool locked = arv_gc_feature_node_is_locked(feature, op.Error()) != FALSE;
    op.Check();
    return locked ? Restrict(mode, ARV_GC_ACCESS_MODE_RO) : mode;
}

// Whether a node's access mode is fixed by its description: no
// pIsImplemented, pIsAvailable or pIsLocked on it or on the nodes its value
// comes from, and only plain nodes on the way (features over registers);
// anything computed (converters, swiss knives, indexed values) is taken to
// vary. Such a mode is evaluated once; the others on every use.
bool FixedAccess(ArvGcNode* node) {
    constexpr int kMaxLinks = 8;
    for (int link = 0; link < kMaxLinks && node != nullptr; ++link) {
        const bool plain = ARV_IS_GC_INTEGER_NODE(node) || ARV_IS_GC_FLOAT_NODE(node) || ARV_IS_GC_BOOLEAN(node) ||
                           ARV_IS_GC_ENUMERATION(node) || ARV_IS_GC_ENUM_ENTRY(node) || ARV_IS_GC_COMMAND(node) ||
                           ARV_IS_GC_REGISTER_NODE(node);
        if (!plain) {
            return false;
        }
        ArvGcNode* next = nullptr;
        for (ArvDomNode* child = arv_dom_node_get_first_child(ARV_DOM_NODE(node)); child != nullptr;
             child = arv_dom_node_get_next_sibling(child)) {
            if (!ARV_IS_GC_PROPERTY_NODE(child)) {
                continue;
            }
            switch (arv_gc_property_node_get_node_type(ARV_GC_PROPERTY_NODE(child))) {
            case ARV_GC_PROPERTY_NODE_TYPE_P_IS_IMPLEMENTED:
            case ARV_GC_PROPERTY_NODE_TYPE_P_IS_AVAILABLE:
            case ARV_GC_PROPERTY_NODE_TYPE_P_IS_LOCKED:
            case ARV_GC_PROPERTY_NODE_TYPE_P_VALUE_INDEXED:
            case ARV_GC_PROPERTY_NODE_TYPE_P_VALUE_DEFAULT:
                return false;
            case ARV_GC_PROPERTY_NODE_TYPE_P_VALUE:
                next = arv_gc_property_node_get_linked_node(ARV_GC_PROPERTY_NODE(child));
                break;
            default:
                break;
            }
        }
        if (next == nullptr) {
            return true;
        }
        node = next;
    }
    return false;
}

// The access mode now. A feature is read or written with its mode checked
// first, and the API asks for the mode before that too: for the many
// features whose mode is fixed, that is one look-up instead of four calls
// into Aravis each time.
AccessMode AccessOf(Operation& op, ArvGcNode* node) {
    auto& known = op.State().accessModes;
    if (const auto it = known.find(node); it != known.end()) {
        return it->second ? *it->second : EvaluateAccess(op, node);
    }
    const AccessMode mode = EvaluateAccess(op, node);
    known.emplace(node, FixedAccess(node) ? std::optional<AccessMode>(mode) : std::nullopt);
    return mode;
}

void RequireReadable(Operation& op, ArvGcNode* node) {
    const AccessMode mode = AccessOf(op, node);
    if (!IsReadable(mode)) {
        throw AccessError(op.Context() + "not readable, its access mode is " + ToString(mode));
    }
}

void RequireWritable(Operation& op, ArvGcNode* node) {
    const AccessMode mode = AccessOf(op, node);
    if (!IsWritable(mode)) {
        throw AccessError(op.Context() + "not writable, its access mode is " + ToString(mode));
    }
}

// A child property of a node ("pValue", "CommandValue", ...), null if none.
ArvGcPropertyNode* PropertyOf(ArvGcNode* node, ArvGcPropertyNodeType type) {
    for (ArvDomNode* child = arv_dom_node_get_first_child(ARV_DOM_NODE(node)); child != nullptr;
         child = arv_dom_node_get_next_sibling(child)) {
        if (ARV_IS_GC_PROPERTY_NODE(child) && arv_gc_property_node_get_node_type(ARV_GC_PROPERTY_NODE(child)) == type) {
            return ARV_GC_PROPERTY_NODE(child);
        }
    }
    return nullptr;
}

// The entries of an enumeration in the order of the description. (Aravis's
// own list has them reversed.)
std::vector<ArvGcNode*> EntriesOf(ArvGcNode* enumeration) {
    std::vector<ArvGcNode*> entries;
    for (ArvDomNode* child = arv_dom_node_get_first_child(ARV_DOM_NODE(enumeration)); child != nullptr;
         child = arv_dom_node_get_next_sibling(child)) {
        if (ARV_IS_GC_ENUM_ENTRY(child)) {
            entries.push_back(ARV_GC_NODE(child));
        }
    }
    return entries;
}

int64_t EntryValue(Operation& op, ArvGcNode* entry) {
    const int64_t value = arv_gc_enum_entry_get_value(ARV_GC_ENUM_ENTRY(entry), op.Error());
    op.Check();
    return value;
}

ArvGcNode* EntryWithValue(Operation& op, ArvGcNode* enumeration, int64_t value) {
    for (ArvGcNode* entry : EntriesOf(enumeration)) {
        if (EntryValue(op, entry) == value) {
            return entry;
        }
    }
    return nullptr;
}

void SetEnumeration(Operation& op, ArvGcNode* node, int64_t value, bool verify) {
    RequireWritable(op, node);
    if (verify) {
        ArvGcNode* entry = EntryWithValue(op, node, value);
        if (entry == nullptr) {
            throw OutOfRangeError(op.Context() + "no entry has the value " + std::to_string(value));
        }
        const AccessMode mode = AccessOf(op, entry);
        if (mode == AccessMode::NI || mode == AccessMode::NA) {
            throw OutOfRangeError(op.Context() + "the entry " + NameOf(entry) + " isn't available (" + ToString(mode) +
                                  ")");
        }
    }
    arv_gc_enumeration_set_int_value(ARV_GC_ENUMERATION(node), value, op.Error());
    op.Check();
}

template <std::integral T> std::string Number(T value) {
    return std::to_string(value);
}

// The shortest text that reads back as the same double.
std::string Number(double value) {
    std::array<char, 32> text{};
    const auto result = std::to_chars(text.data(), text.data() + text.size(), value);
    return std::string(text.data(), result.ptr);
}

} // namespace

// -- names of the enumerations ------------------------------------------------

const char* ToString(AccessMode mode) {
    switch (mode) {
    case AccessMode::NI:
        return "NI";
    case AccessMode::NA:
        return "NA";
    case AccessMode::WO:
        return "WO";
    case AccessMode::RO:
        return "RO";
    case AccessMode::RW:
        return "RW";
    }
    return "?";
}

const char* ToString(InterfaceType type) {
    switch (type) {
    case InterfaceType::Base:
        return "IBase";
    case InterfaceType::Integer:
        return "IInteger";
    case InterfaceType::Boolean:
        return "IBoolean";
    case InterfaceType::Command:
        return "ICommand";
    case InterfaceType::Float:
        return "IFloat";
    case InterfaceType::String:
        return "IString";
    case InterfaceType::Register:
        return "IRegister";
    case InterfaceType::Category:
        return "ICategory";
    case InterfaceType::Enumeration:
        return "IEnumeration";
    case InterfaceType::EnumEntry:
        return "IEnumEntry";
    case InterfaceType::Port:
        return "IPort";
    }
    return "?";
}

// -- Node ---------------------------------------------------------------------

std::string Node::GetName() const {
    MapLock lock(*map_);
    return NameOf(node_);
}

std::string Node::GetDisplayName() const {
    MapLock lock(*map_);
    std::string name = Text(arv_gc_feature_node_get_display_name(Feature(node_)));
    return name.empty() ? NameOf(node_) : name;
}

std::string Node::GetToolTip() const {
    MapLock lock(*map_);
    return Text(arv_gc_feature_node_get_tooltip(Feature(node_)));
}

std::string Node::GetDescription() const {
    MapLock lock(*map_);
    return Text(arv_gc_feature_node_get_description(Feature(node_)));
}

// To GObject a node has every interface it can serve: an enumeration is also
// an integer and a string, a string register also a register. The order of
// the tests makes the most specific one win. Types are fixed at load, so no
// lock is needed.
InterfaceType Node::GetPrincipalInterfaceType() const {
    if (ARV_IS_GC_CATEGORY(node_)) {
        return InterfaceType::Category;
    }
    if (ARV_IS_GC_COMMAND(node_)) {
        return InterfaceType::Command;
    }
    if (ARV_IS_GC_ENUMERATION(node_)) {
        return InterfaceType::Enumeration;
    }
    if (ARV_IS_GC_ENUM_ENTRY(node_)) {
        return InterfaceType::EnumEntry;
    }
    if (ARV_IS_GC_BOOLEAN(node_)) {
        return InterfaceType::Boolean;
    }
    if (ARV_IS_GC_PORT(node_)) {
        return InterfaceType::Port;
    }
    if (ARV_IS_GC_INTEGER(node_)) {
        return InterfaceType::Integer;
    }
    if (ARV_IS_GC_FLOAT(node_)) {
        return InterfaceType::Float;
    }
    if (ARV_IS_GC_STRING(node_)) {
        return InterfaceType::String;
    }
    if (ARV_IS_GC_REGISTER(node_)) {
        return InterfaceType::Register;
    }
    return InterfaceType::Base;
}

AccessMode Node::GetAccessMode() const {
    Operation op(*map_, node_, "evaluating the access mode of");
    return AccessOf(op, node_);
}

bool Node::IsSelector() const {
    MapLock lock(*map_);
    return ARV_IS_GC_SELECTOR(node_) && arv_gc_selector_is_selector(ARV_GC_SELECTOR(node_)) != FALSE;
}

std::vector<Node> Node::GetSelectedFeatures() const {
    MapLock lock(*map_);
    std::vector<Node> features;
    if (!ARV_IS_GC_SELECTOR(node_)) {
        return features;
    }
    for (const GSList* item = arv_gc_selector_get_selected_features(ARV_GC_SELECTOR(node_)); item != nullptr;
         item = item->next) {
        features.push_back(NodeMapState::MakeNode(map_, ARV_GC_NODE(item->data)));
    }
    return features;
}

// -- Integer ------------------------------------------------------------------

int64_t Integer::GetValue(bool verify) const {
    Operation op(*map_, node_, "reading");
    RequireReadable(op, node_);
    ArvGcInteger* integer = ARV_GC_INTEGER(node_);
    const int64_t value = arv_gc_integer_get_value(integer, op.Error());
    op.Check();
    if (verify) {
        const int64_t min = arv_gc_integer_get_min(integer, op.Error());
        op.Check();
        const int64_t max = arv_gc_integer_get_max(integer, op.Error());
        op.Check();
        if (value < min || value > max) {
            throw OutOfRangeError(op.Context() + "the camera holds " + Number(value) + ", outside " + Number(min) +
                                  ".." + Number(max));
        }
    }
    return value;
}

void Integer::SetValue(int64_t value, bool verify) const {
    Operation op(*map_, node_, "writing");
    RequireWritable(op, node_);
    ArvGcInteger* integer = ARV_GC_INTEGER(node_);
    if (verify) {
        const int64_t min = arv_gc_integer_get_min(integer, op.Error());
        op.Check();
        const int64_t max = arv_gc_integer_get_max(integer, op.Error());
        op.Check();
        const int64_t inc = arv_gc_integer_get_inc(integer, op.Error());
        op.Check();
        if (value < min) {
            throw OutOfRangeError(op.Context() + Number(value) + " is below the minimum " + Number(min));
        }
        if (value > max) {
            throw OutOfRangeError(op.Context() + Number(value) + " is above the maximum " + Number(max));
        }
        // value >= min here, so the unsigned difference is exact.
        const uint64_t steps = static_cast<uint64_t>(value) - static_cast<uint64_t>(min);
        if (inc > 1 && steps % static_cast<uint64_t>(inc) != 0) {
            throw OutOfRangeError(op.Context() + Number(value) + " is off the increment " + Number(inc) +
                                  " from the minimum " + Number(min));
        }
    }
    arv_gc_integer_set_value(integer, value, op.Error());
    op.Check();
}

int64_t Integer::GetMin() const {
    Operation op(*map_, node_, "reading the minimum of");
    const int64_t min = arv_gc_integer_get_min(ARV_GC_INTEGER(node_), op.Error());
    op.Check();
    return min;
}

int64_t Integer::GetMax() const {
    Operation op(*map_, node_, "reading the maximum of");
    const int64_t max = arv_gc_integer_get_max(ARV_GC_INTEGER(node_), op.Error());
    op.Check();
    return max;
}

int64_t Integer::GetInc() const {
    Operation op(*map_, node_, "reading the increment of");
    const int64_t inc = arv_gc_integer_get_inc(ARV_GC_INTEGER(node_), op.Error());
    op.Check();
    return inc;
}

std::string Integer::GetUnit() const {
    MapLock lock(*map_);
    return Text(arv_gc_integer_get_unit(ARV_GC_INTEGER(node_)));
}

// -- Float --------------------------------------------------------------------

namespace {

std::optional<double> FloatInc(Operation& op, ArvGcNode* node) {
    const double inc = arv_gc_float_get_inc(ARV_GC_FLOAT(node), op.Error());
    if (!op.CheckAccepting(ARV_GC_ERROR_PROPERTY_NOT_DEFINED)) {
        return std::nullopt;
    }
    return inc;
}

} // namespace

double Float::GetValue(bool verify) const {
    Operation op(*map_, node_, "reading");
    RequireReadable(op, node_);
    ArvGcFloat* number = ARV_GC_FLOAT(node_);
    const double value = arv_gc_float_get_value(number, op.Error());
    op.Check();
    if (verify) {
        const double min = arv_gc_float_get_min(number, op.Error());
        op.Check();
        const double max = arv_gc_float_get_max(number, op.Error());
        op.Check();
        if (!(value >= min && value <= max)) {
            throw OutOfRangeError(op.Context() + "the camera holds " + Number(value) + ", outside " + Number(min) +
                                  ".." + Number(max));
        }
    }
    return value;
}

void Float::SetValue(double value, bool verify) const {
    Operation op(*map_, node_, "writing");
    RequireWritable(op, node_);
    ArvGcFloat* number = ARV_GC_FLOAT(node_);
    if (verify) {
        const double min = arv_gc_float_get_min(number, op.Error());
        op.Check();
        const double max = arv_gc_float_get_max(number, op.Error());
        op.Check();
        if (std::isnan(value)) {
            throw OutOfRangeError(op.Context() + "not a number");
        }
        if (value < min) {
            throw OutOfRangeError(op.Context() + Number(value) + " is below the minimum " + Number(min));
        }
        if (value > max) {
            throw OutOfRangeError(op.Context() + Number(value) + " is above the maximum " + Number(max));
        }
        if (const std::optional<double> inc = FloatInc(op, node_); inc && *inc > 0) {
            // Steps of a float are whole only up to rounding.
            const double steps = (value - min) / *inc;
            if (std::fabs(steps - std::round(steps)) > 1e-9 * std::fmax(1.0, std::fabs(steps))) {
                throw OutOfRangeError(op.Context() + Number(value) + " is off the increment " + Number(*inc) +
                                      " from the minimum " + Number(min));
            }
        }
    }
    arv_gc_float_set_value(number, value, op.Error());
    op.Check();
}

double Float::GetMin() const {
    Operation op(*map_, node_, "reading the minimum of");
    const double min = arv_gc_float_get_min(ARV_GC_FLOAT(node_), op.Error());
    op.Check();
    return min;
}

double Float::GetMax() const {
    Operation op(*map_, node_, "reading the maximum of");
    const double max = arv_gc_float_get_max(ARV_GC_FLOAT(node_), op.Error());
    op.Check();
    return max;
}

std::optional<double> Float::GetInc() const {
    Operation op(*map_, node_, "reading the increment of");
    return FloatInc(op, node_);
}

std::string Float::GetUnit() const {
    MapLock lock(*map_);
    return Text(arv_gc_float_get_unit(ARV_GC_FLOAT(node_)));
}

// -- Boolean ------------------------------------------------------------------

bool Boolean::GetValue() const {
    Operation op(*map_, node_, "reading");
    RequireReadable(op, node_);
    const bool value = arv_gc_boolean_get_value(ARV_GC_BOOLEAN(node_), op.Error()) != FALSE;
    op.Check();
    return value;
}

void Boolean::SetValue(bool value) const {
    Operation op(*map_, node_, "writing");
    RequireWritable(op, node_);
    arv_gc_boolean_set_value(ARV_GC_BOOLEAN(node_), value ? TRUE : FALSE, op.Error());
    op.Check();
}

// -- String -------------------------------------------------------------------

std::string String::GetValue() const {
    Operation op(*map_, node_, "reading");
    RequireReadable(op, node_);
    // Aravis hands back a stale pointer when the read failed: copy only after
    // the check.
    const char* value = arv_gc_string_get_value(ARV_GC_STRING(node_), op.Error());
    op.Check();
    return Text(value);
}

void String::SetValue(const std::string& value, bool verify) const {
    Operation op(*map_, node_, "writing");
    RequireWritable(op, node_);
    if (verify) {
        const int64_t max = arv_gc_string_get_max_length(ARV_GC_STRING(node_), op.Error());
        op.Check();
        if (static_cast<uint64_t>(value.size()) > static_cast<uint64_t>(max)) {
            throw OutOfRangeError(op.Context() + "a text of " + Number(value.size()) +
                                  " characters is longer than the maximum " + Number(max));
        }
    }
    arv_gc_string_set_value(ARV_GC_STRING(node_), value.c_str(), op.Error());
    op.Check();
}

int64_t String::GetMaxLength() const {
    Operation op(*map_, node_, "reading the maximum length of");
    const int64_t max = arv_gc_string_get_max_length(ARV_GC_STRING(node_), op.Error());
    op.Check();
    return max;
}

// -- Enumeration --------------------------------------------------------------

int64_t EnumEntry::GetValue() const {
    Operation op(*map_, node_, "reading the value of");
    return EntryValue(op, node_);
}

std::string EnumEntry::GetSymbolic() const {
    MapLock lock(*map_);
    return NameOf(node_);
}

std::vector<EnumEntry> Enumeration::GetEntries() const {
    MapLock lock(*map_);
    std::vector<EnumEntry> entries;
    for (ArvGcNode* entry : EntriesOf(node_)) {
        entries.push_back(NodeMapState::MakeEntry(map_, entry));
    }
    return entries;
}

std::optional<EnumEntry> Enumeration::GetEntryByName(std::string_view symbolic) const {
    MapLock lock(*map_);
    for (ArvGcNode* entry : EntriesOf(node_)) {
        if (NameOf(entry) == symbolic) {
            return NodeMapState::MakeEntry(map_, entry);
        }
    }
    return std::nullopt;
}

std::optional<EnumEntry> Enumeration::GetCurrentEntry() const {
    Operation op(*map_, node_, "reading");
    RequireReadable(op, node_);
    const int64_t value = arv_gc_enumeration_get_int_value(ARV_GC_ENUMERATION(node_), op.Error());
    op.Check();
    if (ArvGcNode* entry = EntryWithValue(op, node_, value); entry != nullptr) {
        return NodeMapState::MakeEntry(map_, entry);
    }
    return std::nullopt;
}

int64_t Enumeration::GetIntValue(bool verify) const {
    Operation op(*map_, node_, "reading");
    RequireReadable(op, node_);
    const int64_t value = arv_gc_enumeration_get_int_value(ARV_GC_ENUMERATION(node_), op.Error());
    op.Check();
    if (verify && EntryWithValue(op, node_, value) == nullptr) {
        throw OutOfRangeError(op.Context() + "the camera holds " + Number(value) + ", the value of no entry");
    }
    return value;
}

void Enumeration::SetIntValue(int64_t value, bool verify) const {
    Operation op(*map_, node_, "writing");
    SetEnumeration(op, node_, value, verify);
}

void Enumeration::SetSymbolic(std::string_view symbolic, bool verify) const {
    Operation op(*map_, node_, "writing");
    for (ArvGcNode* entry : EntriesOf(node_)) {
        if (NameOf(entry) == symbolic) {
            SetEnumeration(op, node_, EntryValue(op, entry), verify);
            return;
        }
    }
    throw OutOfRangeError(op.Context() + "no entry is named '" + std::string(symbolic) + "'");
}

// -- Command ------------------------------------------------------------------

void Command::Execute() const {
    Operation op(*map_, node_, "executing");
    RequireWritable(op, node_);
    arv_gc_command_execute(ARV_GC_COMMAND(node_), op.Error());
    op.Check();
}

// Aravis has no IsDone. A command is done when the camera has taken it, which
// it shows by changing the register from the command value; the cache is off
// (NodeMap::FromXml), so the register is read anew each time.
bool Command::IsDone() const {
    Operation op(*map_, node_, "asking whether the camera has taken");
    const AccessMode mode = AccessOf(op, node_);
    if (mode == AccessMode::NI || mode == AccessMode::NA) {
        throw AccessError(op.Context() + "the command's access mode is " + ToString(mode));
    }
    ArvGcPropertyNode* valueLink = PropertyOf(node_, ARV_GC_PROPERTY_NODE_TYPE_P_VALUE);
    ArvGcNode* target = valueLink != nullptr ? arv_gc_property_node_get_linked_node(valueLink) : nullptr;
    if (target == nullptr || !ARV_IS_GC_INTEGER(target)) {
        throw GenApiError(op.Context() + "the command has no integer register in its <pValue>");
    }
    if (!IsReadable(AccessOf(op, target))) {
        return true;
    }
    const int64_t current = arv_gc_integer_get_value(ARV_GC_INTEGER(target), op.Error());
    op.Check();
    ArvGcPropertyNode* commandValue = PropertyOf(node_, ARV_GC_PROPERTY_NODE_TYPE_COMMAND_VALUE);
    if (commandValue == nullptr) {
        commandValue = PropertyOf(node_, ARV_GC_PROPERTY_NODE_TYPE_P_COMMAND_VALUE);
    }
    if (commandValue == nullptr) {
        throw GenApiError(op.Context() + "the command has no <CommandValue> or <pCommandValue>");
    }
    const int64_t expected = arv_gc_property_node_get_int64(commandValue, op.Error());
    op.Check();
    return current != expected;
}

// -- Category -----------------------------------------------------------------

std::vector<Node> Category::GetFeatures() const {
    MapLock lock(*map_);
    std::vector<Node> features;
    for (const GSList* item = arv_gc_category_get_features(ARV_GC_CATEGORY(node_)); item != nullptr;
         item = item->next) {
        // Every link resolves: NodeMap::FromXml checked that.
        if (ArvGcNode* feature = arv_gc_get_node(map_->genicam.get(), static_cast<const char*>(item->data))) {
            features.push_back(NodeMapState::MakeNode(map_, feature));
        }
    }
    return features;
}

// -- NodeMap ------------------------------------------------------------------

NodeMap NodeMap::FromXml(const std::string& xml) {
    detail::RouteAravisLog();
    auto state = std::make_shared<NodeMapState>();
    MapLock lock(*state);
    {
        detail::LoadErrorCapture complaints;
        state->genicam.reset(arv_gc_new(state->device.Get(), xml.data(), xml.size()));
        if (!complaints.Complaints().empty()) {
            const detail::LoadErrorCapture::Complaint& first = complaints.Complaints().front();
            throw DescriptionError((first.ofParser ? "the description isn't well-formed XML (cut off?): "
                                                   : "the description could not be loaded: ") +
                                   first.text);
        }
    }
    if (state->genicam == nullptr) {
        throw DescriptionError("the description could not be loaded");
    }
    detail::CheckDescription(state->genicam.get());

    ArvGc* genicam = state->genicam.get();
    // No register cache. A camera changes some values on its own (status and
    // temperature registers, self-clearing command bits, values it adjusts
    // when a related feature is set), and descriptions mark them as cachable
    // or list their invalidators too seldom to trust. A cached value would be
    // stale; a read costs one control packet, and the features are read on
    // the application's request, not in a loop.
    arv_gc_set_register_cache_policy(genicam, ARV_REGISTER_CACHE_POLICY_DISABLE);
    // Aravis's range and access checks stay off: the facade checks access on
    // every call and the range (with the increment, which Aravis never
    // checks) under `verify`, with texts of its own.
    arv_gc_set_range_check_policy(genicam, ARV_RANGE_CHECK_POLICY_DISABLE);
    arv_gc_set_access_check_policy(genicam, ARV_ACCESS_CHECK_POLICY_DISABLE);
    return NodeMap(std::move(state));
}

void NodeMap::Connect(std::shared_ptr<IRegisterPort> port) {
    MapLock lock(*state_);
    state_->device.SetPort(std::move(port));
}

bool NodeMap::IsConnected() const {
    MapLock lock(*state_);
    return state_->device.HasPort();
}

std::optional<Node> NodeMap::GetNode(std::string_view name) const {
    const std::string key(name);
    MapLock lock(*state_);
    ArvGcNode* node = arv_gc_get_node(state_->genicam.get(), key.c_str());
    if (node == nullptr || !ARV_IS_GC_FEATURE_NODE(node)) {
        return std::nullopt;
    }
    return NodeMapState::MakeNode(state_, node);
}

std::vector<Node> NodeMap::GetNodes() const {
    MapLock lock(*state_);
    std::vector<Node> nodes;
    ArvGc* genicam = state_->genicam.get();
    std::vector<ArvDomNode*> pending{ARV_DOM_NODE(arv_dom_document_get_document_element(ARV_DOM_DOCUMENT(genicam)))};
    while (!pending.empty()) {
        ArvDomNode* element = pending.back();
        pending.pop_back();
        if (ARV_IS_GC_FEATURE_NODE(element)) {
            const char* name = arv_gc_feature_node_get_name(ARV_GC_FEATURE_NODE(element));
            if (name != nullptr && ARV_DOM_NODE(arv_gc_get_node(genicam, name)) == element) {
                nodes.push_back(NodeMapState::MakeNode(state_, ARV_GC_NODE(element)));
            }
        }
        // Children pushed last to first, so that they come out in order.
        std::vector<ArvDomNode*> children;
        for (ArvDomNode* child = arv_dom_node_get_first_child(element); child != nullptr;
             child = arv_dom_node_get_next_sibling(child)) {
            if (ARV_IS_DOM_ELEMENT(child) && !ARV_IS_GC_PROPERTY_NODE(child)) {
                children.push_back(child);
            }
        }
        pending.insert(pending.end(), children.rbegin(), children.rend());
    }
    return nodes;
}

} // namespace orva::core::genapi
