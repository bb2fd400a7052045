"""The one exception a Session raises."""


class KestoError(Exception):
    """A command the library refused or could not do.

    `command` is the command sent (or the stage that failed: "load", "init"),
    `record` the ERROR records the library logged for it, and `reply` the
    library's reply text, when there was one.
    """

    def __init__(self, command: str, record: str = "", reply: str = ""):
        self.command = command
        self.record = record
        self.reply = reply
        super().__init__(command + ": " + (record or reply or "failed"))
