#pragma once

namespace orva::core {

// What the board's monitoring thread calls once a second.
class IMonitorInterface {
public:
    virtual ~IMonitorInterface() = default;
    virtual void Monitor() = 0;
};

} // namespace orva::core
