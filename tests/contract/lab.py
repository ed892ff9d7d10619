"""A lab for a test: a daemon of which the clock stands, so that no schedule acts unasked."""
import atexit, json, os, pathlib, shutil, socket, subprocess, tempfile


class Lab:
    def __init__(self, programs, units=1):
        self.place = tempfile.mkdtemp(prefix="contract-")  # with room for a test's own files
        self.folder = self.place + "/lab"
        self.programs = pathlib.Path(programs)
        self.environment = {**os.environ, "TZ": "Europe/Berlin", "QUORIN_POED_LAB": self.folder,
                            "SWITCHSIM_STATE": self.folder + "/switch.state"}
        atexit.register(self.end)
        self.run("up", "--units", str(units), "--at", "2026-03-03 08:00", "--speed", "0")
        self.socket = json.loads(self.run("show", "--json"))["socket"]

    def run(self, *arguments):
        """What switchsim lab prints."""
        command = [self.programs / "switchsim", "lab", *arguments, "--dir", self.folder]
        done = subprocess.run(command, check=True, capture_output=True, text=True,
                              env=self.environment)
        return done.stdout

    def end(self):
        self.run("down", "--clean")
        shutil.rmtree(self.place)

    def answer(self, request):
        """All that comes back for a request."""
        with socket.socket(socket.AF_UNIX) as connection:
            connection.connect(self.socket)
            connection.sendall(json.dumps(request).encode() + b"\n")
            with connection.makefile("rb") as stream:
                return stream.read()
