#include "concurrency/pb_gate.hpp"

#include <pb/pb_locks.h>

#include "base/pb_sync.hpp"
#include "objects/pb_obj_free.hpp"

// They are there before the first start and after the last stop, since objects may be released at
// any time.
static constinit pb::sync::SharedLock gateLock;
static constinit bool isOpen          PB_GUARDED_BY( gateLock ) = false;

void pb::gate::open()
{
    gateLock.lock();
    isOpen = true;
    gateLock.unlock();
}

void pb::gate::close()
{
    gateLock.lock();
    isOpen = false;
    gateLock.unlock();
}

PB_BOOL pb___GateEnter() PB_UNCHECKED
{
    gateLock.lockShared();
    if( !isOpen )
    {
        gateLock.unlockShared();
        return PB_FALSE;
    }
    pb::enterLock();
    return PB_TRUE;
}

void pb___GateLeave() PB_UNCHECKED
{
    gateLock.unlockShared();
    pb::leaveLock();
}
