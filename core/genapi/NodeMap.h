// A camera's node map: built from its GenICam description, connected to a
// register port, and read and written by feature name.
//
//   NodeMap map = NodeMap::FromXml(xml);
//   map.Connect(std::make_shared<CorePortAdapter>(*port));
//   if (std::optional<Integer> width = map.Get<Integer>("Width")) {
//       width->SetValue(640);
//   }
//
// Node handles, and copies of a NodeMap, are small values that share the
// map: it lives as long as any of them. Every operation of a map and its
// handles is serialised by one mutex of the map, so handles may be used from
// several threads; texts are copied out before it is released.
//
// Every failure is a GenApiError (GenApiError.h): a refused description, an
// access mode that forbids the operation, a value out of range with verify,
// or a failed register access (PortError, with the port's status).
//
// Access is checked on every read and write: NI and NA refuse both, WO
// refuses reads, RO writes. `verify` adds the checks of the value: minimum,
// maximum and increment of numbers, the length of texts, an enumeration
// value that belongs to an (available, for a write) entry.
//
// Values aren't cached: every read goes to the camera (see NodeMap.cpp).
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "core/genapi/GenApiError.h"
#include "core/genapi/RegisterPort.h"

struct _ArvGcNode;

namespace orva::core::genapi {

namespace detail {
class NodeMapState;
}

enum class AccessMode {
    NI, // not implemented
    NA, // not available
    WO, // write only
    RO, // read only
    RW, // read and write
};
const char* ToString(AccessMode mode);
inline bool IsReadable(AccessMode mode) {
    return mode == AccessMode::RO || mode == AccessMode::RW;
}
inline bool IsWritable(AccessMode mode) {
    return mode == AccessMode::WO || mode == AccessMode::RW;
}

// The interface a node is used through. Each node has exactly one: an
// enumeration is an Enumeration, not also an Integer or a String.
enum class InterfaceType {
    Base,
    Integer,
    Boolean,
    Command,
    Float,
    String,
    Register,
    Category,
    Enumeration,
    EnumEntry,
    Port,
};
const char* ToString(InterfaceType type); // "IInteger", "IFloat", ...

class Node {
public:
    std::string GetName() const;
    std::string GetDisplayName() const; // the name if the description has none
    std::string GetToolTip() const;
    std::string GetDescription() const;
    InterfaceType GetPrincipalInterfaceType() const;
    // Evaluated now: may read registers (pIsImplemented, pIsAvailable,
    // pIsLocked) and so throw a PortError.
    AccessMode GetAccessMode() const;

    // A selector and the features whose value depends on it.
    bool IsSelector() const;
    std::vector<Node> GetSelectedFeatures() const;

    // The node through its principal interface; empty if it has another.
    template <class T> std::optional<T> As() const {
        if (GetPrincipalInterfaceType() != T::kInterfaceType) {
            return std::nullopt;
        }
        return T(map_, node_);
    }

    bool operator==(const Node& other) const { return node_ == other.node_; }

protected:
    Node(std::shared_ptr<detail::NodeMapState> map, _ArvGcNode* node) : map_(std::move(map)), node_(node) {}

    std::shared_ptr<detail::NodeMapState> map_;
    _ArvGcNode* node_; // owned by the map

    friend class detail::NodeMapState;
};

class Integer final : public Node {
public:
    static constexpr InterfaceType kInterfaceType = InterfaceType::Integer;
    int64_t GetValue(bool verify = false) const;
    void SetValue(int64_t value, bool verify = true) const;
    int64_t GetMin() const;
    int64_t GetMax() const;
    int64_t GetInc() const; // 1 if the description gives none
    std::string GetUnit() const;

private:
    using Node::Node;
    friend class Node;
};

class Float final : public Node {
public:
    static constexpr InterfaceType kInterfaceType = InterfaceType::Float;
    double GetValue(bool verify = false) const;
    void SetValue(double value, bool verify = true) const;
    double GetMin() const;
    double GetMax() const;
    std::optional<double> GetInc() const; // empty if the description gives none
    std::string GetUnit() const;

private:
    using Node::Node;
    friend class Node;
};

class Boolean final : public Node {
public:
    static constexpr InterfaceType kInterfaceType = InterfaceType::Boolean;
    bool GetValue() const;
    void SetValue(bool value) const;

private:
    using Node::Node;
    friend class Node;
};

class String final : public Node {
public:
    static constexpr InterfaceType kInterfaceType = InterfaceType::String;
    std::string GetValue() const;
    // With verify, a text longer than GetMaxLength() is refused.
    void SetValue(const std::string& value, bool verify = true) const;
    int64_t GetMaxLength() const;

private:
    using Node::Node;
    friend class Node;
};

class EnumEntry final : public Node {
public:
    static constexpr InterfaceType kInterfaceType = InterfaceType::EnumEntry;
    int64_t GetValue() const;
    std::string GetSymbolic() const;

private:
    using Node::Node;
    friend class Node;
    friend class detail::NodeMapState;
};

class Enumeration final : public Node {
public:
    static constexpr InterfaceType kInterfaceType = InterfaceType::Enumeration;
    // In the order of the description, available or not.
    std::vector<EnumEntry> GetEntries() const;
    std::optional<EnumEntry> GetEntryByName(std::string_view symbolic) const;
    // The entry of the value the camera has now; empty if no entry has it.
    std::optional<EnumEntry> GetCurrentEntry() const;
    // With verify, a value that no entry has is an OutOfRangeError.
    int64_t GetIntValue(bool verify = false) const;
    // With verify, the value must be that of an available entry.
    void SetIntValue(int64_t value, bool verify = true) const;
    // By the entry's symbolic name; an unknown name is an OutOfRangeError.
    void SetSymbolic(std::string_view symbolic, bool verify = true) const;

private:
    using Node::Node;
    friend class Node;
};

class Command final : public Node {
public:
    static constexpr InterfaceType kInterfaceType = InterfaceType::Command;
    void Execute() const;
    // True once the camera has taken the command: its register, read anew,
    // no longer holds the command value. A command whose register is write
    // only is done at once.
    bool IsDone() const;

private:
    using Node::Node;
    friend class Node;
};

class Category final : public Node {
public:
    static constexpr InterfaceType kInterfaceType = InterfaceType::Category;
    // In the order of the description.
    std::vector<Node> GetFeatures() const;

private:
    using Node::Node;
    friend class Node;
};

class NodeMap {
public:
    // Builds the map of a description: the text up to its first zero byte,
    // if any (the parser stops there, so a description padded with zeros, as
    // read from a camera's memory, loads). Throws DescriptionError if it isn't well-formed XML (cut off,
    // say), if a node links to a node that isn't defined, or if value links
    // form a loop.
    static NodeMap FromXml(const std::string& xml);

    // Register access goes to this port from now on; null disconnects.
    // Before the first Connect every access fails with a GenApiError.
    void Connect(std::shared_ptr<IRegisterPort> port);
    bool IsConnected() const;

    // Empty if no node has the name. Enumeration entries are reached through
    // their enumeration.
    std::optional<Node> GetNode(std::string_view name) const;
    // Empty if no node has the name or it has another principal interface.
    template <class T> std::optional<T> Get(std::string_view name) const {
        std::optional<Node> node = GetNode(name);
        return node ? node->As<T>() : std::nullopt;
    }
    // Every named node, in the order of the description.
    std::vector<Node> GetNodes() const;

private:
    explicit NodeMap(std::shared_ptr<detail::NodeMapState> state) : state_(std::move(state)) {}

    std::shared_ptr<detail::NodeMapState> state_;
};

} // namespace orva::core::genapi
