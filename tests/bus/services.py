"""A private bus, with services on it that are mocks or the real ones.

Prints the bus's address, or "missing: WHAT". Then does what each line of its input says and answers "done", or "no: REASON". The bus and all
on it end with this program's input.
"""

import ctypes
import os
import shutil
import signal
import subprocess
import sys
import tempfile
import time
import urllib.parse

try:
    import dbus
    import dbusmock
except ImportError as missing:
    sys.exit(f"missing: {missing}")

PROPERTIES = "org.freedesktop.DBus.Properties"
NETWORK = ("org.freedesktop.NetworkManager", "/org/freedesktop/NetworkManager")
MODEMS = ("org.freedesktop.ModemManager1", "/org/freedesktop/ModemManager1")
SECRETS = ("org.freedesktop.secrets", "/org/freedesktop/secrets", "org.freedesktop.Secret.Service")
MODEM = MODEMS[0] + ".Modem"

started = {}


def die_with_parent():
    ctypes.CDLL(None).prctl(1, signal.SIGKILL)


def start_bus(folder):
    config = os.path.join(folder, "bus.conf")
    with open(config, "w", encoding="utf-8") as file:
        file.write(f"""<busconfig><type>session</type><listen>unix:dir={urllib.parse.quote(folder)}</listen>
          <policy context="default"><allow send_destination="*" eavesdrop="true"/><allow eavesdrop="true"/>
          <allow own="*"/></policy></busconfig>""")
    bus = subprocess.Popen(["dbus-daemon", "--config-file=" + config, "--nofork", "--print-address"],
                           stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, preexec_fn=die_with_parent)
    started["bus"] = bus
    address = bus.stdout.readline().decode().strip()
    os.environ["DBUS_SYSTEM_BUS_ADDRESS"] = os.environ["DBUS_SESSION_BUS_ADDRESS"] = address
    return address


def stop(name):
    if name in started:
        started[name].kill()
        started.pop(name).wait()


def mock(service):
    return dbus.bus.BusConnection(os.environ["DBUS_SYSTEM_BUS_ADDRESS"]).get_object(*service)


def network(kind):
    """NetworkManager with a primary connection of the kind."""
    stop("network")
    started["network"], _ = dbusmock.DBusTestCase.spawn_server_template(
        "networkmanager", {}, stdout=subprocess.DEVNULL)
    mock(NETWORK).AddProperty(NETWORK[0], "PrimaryConnectionType", int(kind) if kind.isdigit() else kind,
                              dbus_interface=dbusmock.MOCK_IFACE)


def modem(operator, *sim):
    """ModemManager with a modem that is registered with the operator; `sim`: its name and the network's digits."""
    stop("modem")
    started["modem"] = subprocess.Popen(
        [sys.executable, "-m", "dbusmock", "--system", "-m", *MODEMS, "org.freedesktop.ModemManager1"],
        stdout=subprocess.DEVNULL, preexec_fn=die_with_parent)
    dbusmock.DBusTestCase.wait_for_bus_object(*MODEMS, system_bus=True)
    path = MODEMS[1] + "/Modem/0"
    card = MODEMS[1] + "/SIM/0"
    add(path, MODEM, {"Sim": dbus.ObjectPath(card if sim else "/"), "State": dbus.Int32(8), "Ports": [("wwan0", 1)]})
    mock((MODEMS[0], path)).AddProperties(MODEM + ".Modem3gpp", dbus.Dictionary(
        {"OperatorName": operator, "OperatorCode": "20801"}, signature="sv"), dbus_interface=dbusmock.MOCK_IFACE)
    if sim:
        name, digits = sim
        add(card, MODEMS[0] + ".Sim", {"OperatorName": name if name != "long" else "x" * 100000,
                                       "OperatorIdentifier": dbus.UInt32(1) if digits == "lie" else digits,
                                       "Imsi": "262019876543210"})


def add(path, interface, properties):
    mock(MODEMS).AddObject(path, interface, dbus.Dictionary(properties, signature="sv"),
                           dbus.Array([], signature="(ssss)"), dbus_interface=dbusmock.MOCK_IFACE)


def keyring():
    """The real keyring daemon, with a default collection that is unlocked and survives the daemon."""
    stop("keyring")
    environment = dict(os.environ, HOME=home, XDG_DATA_HOME=home, XDG_RUNTIME_DIR=home)
    started["keyring"] = subprocess.Popen(
        ["gnome-keyring-daemon", "--foreground", "--unlock", "--components=secrets"], env=environment,
        stdin=subprocess.PIPE, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, preexec_fn=die_with_parent)
    started["keyring"].stdin.write(b"\n")  # an empty password
    started["keyring"].stdin.close()
    for _ in range(1000):
        try:
            if secrets().ReadAlias("default", dbus_interface=SECRETS[2]) != "/":
                return
        except dbus.DBusException:
            pass
        time.sleep(0.01)
    raise RuntimeError("no default collection")


def secrets():
    return mock(SECRETS[:2])


def lock():
    secrets().Lock([secrets().ReadAlias("default", dbus_interface=SECRETS[2])], dbus_interface=SECRETS[2])


def names():
    return [name for name in mock(("org.freedesktop.DBus", "/org/freedesktop/DBus")).ListNames() if name[0] == ":"]


def end(name):
    """Freezes a service; says so, and ends the bus as soon as somebody else has come to it."""
    freeze(name)
    own = len(names())
    print("done", flush=True)
    while len(names()) <= own:
        time.sleep(0.001)
    stop("bus")


def freeze(name):
    started[name].send_signal(signal.SIGSTOP)


COMMANDS = {"network": network, "modem": modem, "keyring": keyring, "lock": lock, "stop": stop, "freeze": freeze, "end": end}

if shutil.which("dbus-daemon") is None:
    sys.exit("missing: dbus-daemon")
with tempfile.TemporaryDirectory(prefix="zul bus ") as home:
    print(start_bus(home), flush=True)
    for line in sys.stdin:
        words = line.rstrip("\n").split("|")
        try:
            COMMANDS[words[0]](*words[1:])
            if words[0] != "end":
                print("done", flush=True)
        except Exception as error:  # pylint: disable=broad-except
            print("no:", error, flush=True)
