"""The table that scripts/bench.sh --peers prints: a row a figure, a column a program."""

from reckoning import ratio

OWN = "cellslotd"

# Key, what the row says, unit.
ROWS = (
    ("registered", "start to registered", "s"),
    ("connected", "start to connected", "s"),
    ("startCpu", "processor time from start to there", "ms"),
    ("idleCpu", "an hour idle: processor time", "s"),
    ("idleWakeUps", "an hour idle: wake-ups", ""),
    ("idleCommands", "an hour idle: AT commands", ""),
    ("commandCpu", "processor time an AT command, idle", "us"),
    ("resident", "resident memory", "kB"),
    ("proportional", "proportional set", "kB"),
    ("helpers", "proportional set of the bus and polkit it needs", "kB"),
    ("messageIn", "message at the modem to its receiver, mean", "s"),
    ("messageOut", "message from its sender to the wire, mean", "s"),
    ("backMessage", "back after an unplug: the message that came meanwhile is there", "s"),
    ("backConnected", "back after an unplug: connected again", "s"),
)

LOOKS_LESS = ("it looks at the modem seldom; the daemon asks about twenty questions in each pass, once a"
              " second, so that it sees within seconds what is wrong, and publishes the answers")
ONLY_ASKS = "it only asks for the state; the daemon sets the modem up first, with 20 ms a command"
ANNOUNCED = "the modem announces a message to it (+CNMI); the daemon asks every 5 s"

# Why a peer needs less. A figure without an entry here is shown as ahead without a reason.
REASONS = {
    ("registered", "gammu-smsd"): ONLY_ASKS,
    ("registered", "smstools"): ONLY_ASKS,
    ("connected", "ModemManager"):
        "nothing paces its commands, and its connection is a data call that pppd has yet to use; the"
        " daemon has set up interface, addresses and routes by then",
    ("startCpu", "gammu-smsd"): ONLY_ASKS,
    ("startCpu", "smstools"): ONLY_ASKS,
    **{(row, name): LOOKS_LESS for row in ("idleCpu", "idleWakeUps", "idleCommands")
       for name in ("ModemManager", "gammu-smsd", "smstools")},
    ("messageIn", "ModemManager"): ANNOUNCED,
    ("messageOut", "ModemManager"):
        "its client calls it at once; the daemon takes one file of its folder every 5 s, and waits a"
        " second for the prompt",
    ("backConnected", "ModemManager"):
        "as for start to connected; it does not reconnect by itself, the client that asks for it is"
        " that of this comparison",
    ("backMessage", "ModemManager"): ANNOUNCED,
}


def number(value):
    if value is None:
        return "-"
    if abs(value) >= 1000:
        return f"{value:,.0f}"
    return f"{value:.3g}" if abs(value) < 100 else f"{value:.0f}"


def cell(figures, key, own):
    """The figure, and how many times ours it is."""
    value = figures.get(key)
    times = ratio(value, own.get(key))
    return number(value) + ("" if times is None else f" ({number(times)}x)")


def lines(results):
    """Markdown. results: {program: figures}; the first column is ours."""
    own = results[OWN]
    peers = [name for name in results if name != OWN]
    yield "| | " + " | ".join([OWN, *peers]) + " |"
    yield "|---" * (2 + len(peers)) + "|"
    for key, what, unit in ROWS:
        if all(figures.get(key) is None for figures in results.values()):
            continue
        cells = [number(own.get(key)), *(cell(results[name], key, own) for name in peers)]
        yield f"| {what}{', ' + unit if unit else ''} | " + " | ".join(cells) + " |"


def ahead(results):
    """A line for each figure in which a peer needs less than ours."""
    for key, what, _ in ROWS:
        for name, figures in results.items():
            times = ratio(figures.get(key), results[OWN].get(key))
            if name == OWN or times is None or times >= 1:
                continue
            reason = REASONS.get((key, name), "the reason is not known")
            yield f"{name} is ahead in \"{what}\" ({number(times)}x): {reason}."
