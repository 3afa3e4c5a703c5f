"""cmm serve over real sockets. Arguments: the program."""
import socket
import subprocess
import sys
import tempfile


class Client:
    def __init__(self, port):
        self.socket = socket.create_connection(("127.0.0.1", port), timeout=20)
        self.lines = self.socket.makefile("rb")

    def ask(self, command, last="%"):
        """The lines up to the one that ends with `last`, without tag and CR LF; an empty one when the server has closed."""
        self.socket.sendall(command.encode() + b"\r\n")
        lines = []
        while not lines or (lines[-1] and lines[-1] != last):
            lines.append(self.lines.readline().decode()[6:-2])
        return lines

    def close(self):
        self.lines.close()
        self.socket.close()


def serve(state):
    server = subprocess.Popen(
        [sys.argv[1], "serve", "--emulate", "--listen", "127.0.0.1:0", "--state", state],
        stdout=subprocess.PIPE,
        text=True,
    )
    return server, int(server.stdout.readline().removeprefix("listening on 127.0.0.1:"))


with tempfile.TemporaryDirectory() as folder:
    server, port = serve(folder + "/state.toml")
    first = Client(port)
    assert first.ask("00001 StartSession()") == ["&", "%"]
    assert first.ask("00002 Home()") == ["&", "%"]
    # A second one is sent away.
    second = Client(port)
    assert second.lines.readline() == b""
    # Who leaves while the machine moves leaves it standing; the next one is welcome.
    assert first.ask("00003 GoTo(X(300), Y(300), Z(200))", "&") == ["&"]
    first.close()
    third = Client(port)
    assert third.ask("00001 StartSession()") == ["&", "%"]
    place = third.ask("00002 Get(X(), Y(), Z())")
    assert place[1].startswith("# X(") and "X(300)" not in place[1], place
    assert third.ask("00003 Get(X(), Y(), Z())") == place
    # What outlives the server, and how it ends.
    assert third.ask('00004 ChangeTool("RefTool")') == ["&", "%"]
    server.terminate()
    assert server.wait(20) == 0
    server, port = serve(folder + "/state.toml")
    fourth = Client(port)
    assert fourth.ask("00001 StartSession()") == ["&", "%"]
    assert fourth.ask("00002 GetProp(Tool.Name())")[1] == '# Tool.Name("RefTool")'
    # More than a line may have.
    fourth.socket.sendall(b"x" * 70000 + b"\r\n")
    assert b"0008" in fourth.lines.readline()
    server.terminate()
    assert server.wait(20) == 0
