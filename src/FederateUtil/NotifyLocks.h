// The two process-wide locks that serialise notifications going to the same local listeners.
// Each is held, as a scoped lock, for a whole operation; no operation takes both.
#pragma once

#include <mutex>

// NotifyArbitratorAutonomyChange, NotifyArbitratorRefreshReady, NotifyArbitratorAutoModeChange.
extern std::mutex m_notify_lock1;
// NotifyDravoServerAutonomyChange, NotifyDravoData.
extern std::mutex m_notify_lock2;
