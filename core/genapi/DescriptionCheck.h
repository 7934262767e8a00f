// Checks of a description that Aravis has loaded, before any value is read.
//
// Aravis follows a node's links by name when a value is needed and doesn't
// look at them before: a link to a node that isn't there surfaces only then,
// and a chain of value links that comes back to where it started (a pValue
// naming its own node, say) recurses until the stack overflows.
#pragma once

#include <arv.h>

#include <string>

namespace orva::core::genapi::detail {

// Throws DescriptionError if a link of any node names a node that the
// description doesn't define, or if the links that a value is computed from
// (all but pFeature, pSelected and pInvalidator, which only group, select
// and invalidate) form a loop. The text names the first few faults.
void CheckDescription(ArvGc* genicam);

// The text of a DOM element, whitespace trimmed: a link's target name.
std::string ElementText(ArvDomNode* element);

} // namespace orva::core::genapi::detail
