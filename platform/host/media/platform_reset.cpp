// Resetting the whole platform. The media channels go first: they are the top layer and
// may still reach into the support library's state while they stop.
#include "control/host_control.h"
#include "journal/call_journal.h"
#include "log/log_store.h"
#include "media/camera.h"
#include "media/media_platform.h"
#include "media/sync_marks.h"
#include "support/support_state.h"

namespace hostctl {

void reset() {
    host::media::media().reset();
    host::media::setSyncMarks(false);
    host::support::resetState();
    host::journal::reset();
    host::log::resetStore();
    // After the records are cleared: an unusable source in the environment says so.
    host::media::resetCamera();
}

}  // namespace hostctl
