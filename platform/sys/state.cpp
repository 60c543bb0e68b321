// The one state object of the process services.
#include "platform/sys/state.h"

namespace kb {

SysState& sysState() {
    static SysState& state = *new SysState;
    return state;
}

} // namespace kb
