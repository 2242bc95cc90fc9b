"""The position of a gateway's modem, as a client of its gpsd gets it."""

import json

# Prints the first position that a client of gpsd sees.
CLIENT = """\
import json, socket
connection = socket.create_connection(("localhost", 2947), 5)
connection.settimeout(90)
connection.sendall(b'?WATCH={"enable":true,"json":true};\\n')
for line in connection.makefile():
    report = json.loads(line)
    if report["class"] == "TPV" and "lat" in report:
        print(json.dumps([report["lat"], report["lon"]]))
        break
"""


def positionOf(machine):
    """Latitude and longitude."""
    machine.write("/bench/position.py", CLIENT)
    return json.loads(machine.run("python3 /bench/position.py", 120))
