#include "core/genapi/DescriptionCheck.h"

#include <cstddef>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "core/genapi/GenApiError.h"

namespace orva::core::genapi::detail {

namespace {

// Faults named in the text; a broken description can have hundreds.
constexpr std::size_t kFaultsNamed = 5;

struct Link {
    ArvDomNode* owner;  // the feature node the link belongs to
    const char* tag;    // "pValue", "pAddress", ...
    std::string target; // the name it refers to
    ArvDomNode* to;     // the node of that name, null if none
    bool carriesValue;  // part of the computation of the owner's value
};

bool CarriesValue(ArvGcPropertyNodeType type) {
    return type != ARV_GC_PROPERTY_NODE_TYPE_P_FEATURE && type != ARV_GC_PROPERTY_NODE_TYPE_P_SELECTED &&
           type != ARV_GC_PROPERTY_NODE_TYPE_P_INVALIDATOR;
}

std::string NameOf(ArvDomNode* node) {
    if (node == nullptr) {
        return "(description)";
    }
    if (ARV_IS_GC_FEATURE_NODE(node)) {
        if (const char* name = arv_gc_feature_node_get_name(ARV_GC_FEATURE_NODE(node)); name != nullptr) {
            return name;
        }
    }
    const char* tag = arv_dom_node_get_node_name(node);
    return tag != nullptr ? tag : "(node)";
}

class Walker {
public:
    explicit Walker(ArvGc* genicam) : genicam_(genicam) {}

    void Walk(ArvDomNode* node, ArvDomNode* owner) {
        if (ARV_IS_GC_PROPERTY_NODE(node)) {
            AddLink(ARV_GC_PROPERTY_NODE(node), owner);
            return;
        }
        if (ARV_IS_GC_FEATURE_NODE(node)) {
            // A struct entry is read through the register around it.
            if (ARV_IS_GC_STRUCT_ENTRY_NODE(node) && owner != nullptr) {
                links_.push_back(Link{node, "StructReg", NameOf(owner), owner, true});
            }
            owner = node;
        }
        for (ArvDomNode* child = arv_dom_node_get_first_child(node); child != nullptr;
             child = arv_dom_node_get_next_sibling(child)) {
            Walk(child, owner);
        }
    }

    std::vector<Link>& Links() { return links_; }

private:
    void AddLink(ArvGcPropertyNode* property, ArvDomNode* owner) {
        const ArvGcPropertyNodeType type = arv_gc_property_node_get_node_type(property);
        if (type <= ARV_GC_PROPERTY_NODE_TYPE_P_UNKNONW) {
            return; // a value written in place, not a link
        }
        std::string target = ElementText(ARV_DOM_NODE(property));
        ArvDomNode* to = ARV_DOM_NODE(arv_gc_get_node(genicam_, target.c_str()));
        links_.push_back(
            Link{owner, arv_dom_node_get_node_name(ARV_DOM_NODE(property)), std::move(target), to, CarriesValue(type)});
    }

    ArvGc* genicam_;
    std::vector<Link> links_;
};

void CheckLinksResolve(const std::vector<Link>& links) {
    std::string faults;
    std::size_t count = 0;
    for (const Link& link : links) {
        if (link.to != nullptr) {
            continue;
        }
        if (++count <= kFaultsNamed) {
            faults += (count > 1 ? "; " : "") + NameOf(link.owner) + " <" + link.tag + "> '" + link.target + "'";
        }
    }
    if (count > 0) {
        throw DescriptionError("the description refers to " + std::to_string(count) +
                               " node(s) it doesn't define: " + faults + (count > kFaultsNamed ? "; ..." : ""));
    }
}

// Depth-first search over the value links, without recursion: the chains of
// a large description are long.
void CheckNoLoops(const std::vector<Link>& links) {
    std::unordered_map<ArvDomNode*, std::vector<const Link*>> edges;
    for (const Link& link : links) {
        if (link.carriesValue && link.to != nullptr) {
            edges[link.owner].push_back(&link);
        }
    }
    const std::vector<const Link*> kNoLinks;
    enum class Mark { Unseen, OnPath, Done };
    std::unordered_map<ArvDomNode*, Mark> marks;
    struct Frame {
        ArvDomNode* node;
        std::size_t next;
    };
    for (const auto& [start, unused] : edges) {
        if (marks[start] != Mark::Unseen) {
            continue;
        }
        std::vector<Frame> path{{start, 0}};
        marks[start] = Mark::OnPath;
        while (!path.empty()) {
            Frame& frame = path.back();
            const auto found = edges.find(frame.node);
            const std::vector<const Link*>& out = found != edges.end() ? found->second : kNoLinks;
            if (frame.next == out.size()) {
                marks[frame.node] = Mark::Done;
                path.pop_back();
                continue;
            }
            const Link* link = out[frame.next++];
            const Mark mark = marks[link->to];
            if (mark == Mark::OnPath) {
                std::string loop;
                bool inLoop = false;
                for (const Frame& step : path) {
                    inLoop = inLoop || step.node == link->to;
                    if (inLoop) {
                        loop += NameOf(step.node) + " -> ";
                    }
                }
                throw DescriptionError("the description has a loop of links: " + loop + NameOf(link->to) +
                                       " (closed by <" + link->tag + ">)");
            }
            if (mark == Mark::Unseen) {
                marks[link->to] = Mark::OnPath;
                path.push_back(Frame{link->to, 0});
            }
        }
    }
}

} // namespace

std::string ElementText(ArvDomNode* element) {
    std::string text;
    for (ArvDomNode* child = arv_dom_node_get_first_child(element); child != nullptr;
         child = arv_dom_node_get_next_sibling(child)) {
        if (ARV_IS_DOM_CHARACTER_DATA(child)) {
            if (const char* data = arv_dom_character_data_get_data(ARV_DOM_CHARACTER_DATA(child)); data != nullptr) {
                text += data;
            }
        }
    }
    constexpr std::string_view kBlank = " \t\r\n";
    const std::size_t begin = text.find_first_not_of(kBlank);
    if (begin == std::string::npos) {
        return {};
    }
    return text.substr(begin, text.find_last_not_of(kBlank) - begin + 1);
}

void CheckDescription(ArvGc* genicam) {
    ArvDomElement* root = arv_dom_document_get_document_element(ARV_DOM_DOCUMENT(genicam));
    if (root == nullptr) {
        throw DescriptionError("the description has no root element");
    }
    const char* rootName = arv_dom_node_get_node_name(ARV_DOM_NODE(root));
    if (rootName == nullptr || std::string_view(rootName) != "RegisterDescription") {
        throw DescriptionError(std::string("the description's root element is <") +
                               (rootName != nullptr ? rootName : "") + ">, not <RegisterDescription>");
    }
    Walker walker(genicam);
    walker.Walk(ARV_DOM_NODE(root), nullptr);
    CheckLinksResolve(walker.Links());
    CheckNoLoops(walker.Links());
}

} // namespace orva::core::genapi::detail
