# In a clean Debian with the packages in /root: installs them, uses each, removes them.
cd /root
export DEBIAN_FRONTEND=noninteractive

installed() {
  dpkg-query -W -f '${Package}\n'
  find / -xdev \( -path /proc -o -path /root -o -path /var -o -path /tmp \) -prune -o -print | grep -v -x /etc/ld.so.cache
}
installed > before

apt-get install -y -qq --no-install-recommends ./*.deb > install.log 2>&1 || { cat install.log; exit 1; }
dpkg -V libcc-interface1 libcc-interface-dev cc-interface-tools python3-cc-interface

cmm demo --picture sphere.svg | tail -1
test -s sphere.svg
cmm-emulator --help > /dev/null
# The flags are words.
# shellcheck disable=SC2046
cc -std=c99 client.c -o client $(pkg-config --cflags --libs cc_interface)
./client
python3 -c 'import cc_interface as cc
print(cc.__version__)
with cc.Arm(1, simulation=True) as arm: print(arm.start())'

apt-get purge -y -qq --autoremove libcc-interface1 libcc-interface-dev cc-interface-tools python3-cc-interface > purge.log 2>&1
installed > after
diff before after
echo "installed, used and removed without a trace"
