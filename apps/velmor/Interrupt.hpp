// Ctrl-C: once asks for an orderly end, twice leaves at once.
#pragma once

namespace VelmorApp {

/// Takes over SIGINT and SIGTERM.
void watchForInterrupt();
/// Whether an orderly end was asked for. Any thread.
bool interruptRequested();

}  // namespace VelmorApp
