#pragma once

/// Lets the kernel's driver of an open serial device switch the line's direction: RTS on while sending, no
/// delays. False, and errno, when it has no such mode. Any thread.
bool SwitchToRs485(int descriptor);
