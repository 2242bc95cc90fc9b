"""What the demonstration prints: a line for each event, with its time; with --verbose also the AT
commands and the log, with a note on lines that only look like faults."""

# Log lines that read like faults although everything is fine.
EXPLAINED = (
    ("The APN '' is not valid", "CM_APN2, for a second SIM, is not set: no fault"),
    ("Note: APN is empty", "CM_APN2, for a second SIM, is not set: no fault"),
    ("CM_FW_SLOT= is not valid", "not set: the SIM's carrier decides"),
    ("value ''", "not set: the default applies"),
    ("unable to connect to the DBUS", "no system bus in here: gpsd does not need it"),
    (f"{'AT#FWSWITCH=?':<28} ERROR", "this model has one firmware image: no fault"),
    ("GPS_STOP_STREAM_SUCCESS", "a success: there was nothing to stop"),
    ("GPS_START_STREAM_SUCCESS", "a success"),
    ("return code 124", "gpsd takes more than five seconds: no fault"),
    ("Device has No Service", "the modem is still searching for a network"),
)


class Story:
    def __init__(self, clock, verbose):
        self.clock = clock
        self.verbose = verbose

    def say(self, subject, text, at=None):
        when = self.clock() if at is None else at
        print(f"{when:6.1f} s  {subject:<10}{text}", flush=True)

    def more(self, text):
        print(f"{'':20}{text}", flush=True)

    def detail(self, source, text, at):
        if not self.verbose:
            return
        notes = [note for part, note in EXPLAINED if part in text]
        hint = f"   <- {notes[0]}" if notes else ""
        print(f"{at:8.3f}    {source:<8}{text}{hint}", flush=True)

    @staticmethod
    def heading(text):
        print(f"\n== {text}", flush=True)
