#include "runtime/templates/GuardedSingletonBase.h"

namespace orva::templates::patterns {

void GuardedSingletonBase::prepareDestroy() {}

GuardedSingletonBase::~GuardedSingletonBase() = default;

} // namespace orva::templates::patterns
