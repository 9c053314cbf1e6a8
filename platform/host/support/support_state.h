// The support library's state as a fresh process has it: default image settings, no
// packs or images, volumes at 100 and unmuted, a bare board.
#pragma once

namespace host::support {

void resetState();

}  // namespace host::support
