#include "platform/utility/rs485mode.h"

#include <linux/serial.h>
#include <sys/ioctl.h>

bool SwitchToRs485(int descriptor) {
  serial_rs485 mode{};
  mode.flags = SER_RS485_ENABLED | SER_RS485_RTS_ON_SEND;
  return ::ioctl(descriptor, TIOCSRS485, &mode) == 0;
}
