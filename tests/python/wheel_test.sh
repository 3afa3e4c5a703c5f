#!/bin/sh
# The wheel, installed into a fresh environment without a network, brings its library and runs a session in simulation.
# Argument: the wheel.
set -eu
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
/usr/bin/python3 -m venv "$folder/venv"
"$folder/venv/bin/pip" install --quiet --disable-pip-version-check --no-index "$1"
cd "$folder"
env -u CC_INTERFACE_LIBRARY -u PYTHONPATH "$folder/venv/bin/python" -W error - << 'END'
import importlib.metadata
import pathlib
import cc_interface as cc

with cc.Arm(1, simulation=True) as arm:
    arm.start()
    arm.set_status(cc.Order.MEASURING)
    assert arm.probe((10, 20, 30), approach=(0, 0, -1), timeout=10).position == (10, 20, 30)
package = pathlib.Path(cc.__file__).parent
assert pathlib.Path(cc.library().path).parent == package and (package / "py.typed").exists()
assert cc.__version__ == importlib.metadata.version("cc_interface")
print("version", cc.__version__, "probed in a fresh environment")
END
