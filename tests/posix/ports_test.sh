#!/bin/sh
# cmm ports on a computer that is made up: an adapter, a port of the board that has no chip, a console. Argument: build folder.
set -eu
dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT
usb=/devices/pci0000:00/0000:00:14.0/usb1/1-3
cat > "$dir/computer" <<END
P: $usb
N: bus/usb/001/004
E: DEVTYPE=usb_device
E: SUBSYSTEM=usb
A: manufacturer=FTDI
A: product=FT232R USB UART
A: serial=A10KXYZ

P: $usb/1-3:1.0/ttyUSB0/tty/ttyUSB0
N: ttyUSB0
S: serial/by-id/usb-FTDI-A10KXYZ-if00-port0
E: DEVNAME=/dev/ttyUSB0
E: SUBSYSTEM=tty

P: /devices/platform/serial8250
E: SUBSYSTEM=platform

P: /devices/platform/serial8250/tty/ttyS7
N: ttyS7
E: DEVNAME=/dev/ttyS7
E: SUBSYSTEM=tty
A: type=0

P: /devices/virtual/tty/tty1
N: tty1
E: DEVNAME=/dev/tty1
E: SUBSYSTEM=tty
END
cat > "$dir/wanted" <<'END'
/dev/ttyUSB0  FTDI FT232R USB UART A10KXYZ
  --port /dev/serial/by-id/usb-FTDI-A10KXYZ-if00-port0
END
umockdev-run --device "$dir/computer" -- "$1/cmm" ports > "$dir/told"
diff "$dir/wanted" "$dir/told"

# A pseudo-terminal in the folder of links is called by its number.
ln -s /dev/pts/ptmx "$dir/com5"
CC_PORT_DIR=$dir "$1/cmm" ports --json > "$dir/told"
grep -q '"port": "COM5"' "$dir/told" || { cat "$dir/told"; exit 1; }
