"""An FTP server on the loopback that misbehaves: hostile_ftp.py MODE LOG [CERTIFICATE].  Prints its port, writes every
command it gets to LOG and serves until its standard input ends.

MODE: plain, tls, endless-list, drip-list, drip-greeting, no-answer, size-small, size-large, huge, drip-file, names,
many-names, elsewhere, texts
"""
import socket
import ssl
import sys
import threading
import time

MODE, LOG = sys.argv[1], sys.argv[2]
NAMES = (b"../evil.pvz\r\n/etc/passwd.pvz\r\ngood.pvz\r\nGOOD.pvz\r\n.hidden.pvz\r\nred\x1b[31m.pvz\r\nnul\x00.pvz\r\n"
         b"bad\xff\xfe.pvz\r\ndot..pvz \r\nC:\\x.pvz\r\n..\r\nC:drive.pvz\r\n" + b"x" * 300 + b".pvz\r\nline\x85.pvz\r\n")


class Client:
    def __init__(self, control):
        self.control = control
        self.data = None
        self.protect = False

    def log(self, text):
        with open(LOG, "a", encoding="latin-1") as log:
            log.write(text + "\n")

    def say(self, text):
        self.control.sendall(text.encode("latin-1") + b"\r\n")

    def read(self):
        line = b""
        while not line.endswith(b"\n"):
            byte = self.control.recv(1)
            if not byte:
                return None
            line += byte
        return line.decode("latin-1").strip()

    def passive(self):
        self.data = socket.create_server(("127.0.0.1", 0))
        port = self.data.getsockname()[1]
        return port

    def send(self, pieces):
        connection, _ = self.data.accept()
        self.say("150 Here it comes")
        try:
            for piece in pieces:
                connection.sendall(piece)
        finally:
            connection.close()
        self.say("226 That was it")

    def listing(self):
        if MODE == "endless-list":
            return iter(lambda: b"module%d.pvz\r\n" % int(time.time()) * 200, None)
        if MODE == "drip-list":
            return self.drip(b"a")
        if MODE == "names":
            return [NAMES]
        if MODE == "many-names":
            return [b"".join(b"%06d.pvz\r\n" % i for i in range(20000))]
        return [b"good.pvz\r\n"]

    def file(self):
        if MODE in ("huge", "size-small"):
            return iter(lambda: b"\0" * 65536, None) if MODE == "huge" else [b"x" * 100000]
        if MODE == "drip-file":
            return self.drip(b"x")
        return [b"0123456789"]

    @staticmethod
    def drip(byte):
        while True:
            yield byte
            time.sleep(0.1)

    def serve(self):
        if MODE == "no-answer":
            time.sleep(3600)
        if MODE == "drip-greeting":
            for byte in self.drip(b"2"):
                self.control.sendall(byte)
        self.say("220 \x1b[31mwelcome\x07" if MODE == "texts" else "220 ready")
        while True:
            line = self.read()
            if line is None:
                return
            self.log(line)
            verb = line.split(" ")[0].upper()
            if verb == "AUTH" and MODE == "tls":
                self.say("234 go on")
                context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
                context.load_cert_chain(sys.argv[3])
                self.control = context.wrap_socket(self.control, server_side=True)
            elif verb == "USER":
                self.say("331 password")
            elif verb == "PASS":
                self.say("530 \x1b]0;owned\x07 no\x00 entry" if MODE == "texts" else "230 in")
            elif verb in ("CWD", "TYPE"):
                self.say("250 fine")
            elif verb == "PWD":
                self.say('257 "/"')
            elif verb == "SIZE" and MODE in ("size-small", "size-large"):
                self.say("213 10" if MODE == "size-small" else "213 100000")
            elif verb == "SIZE" and MODE == "huge":
                self.say("500 who knows")
            elif verb == "EPSV" and MODE != "elsewhere":
                self.say("229 Entering (|||%d|)" % self.passive())
            elif verb == "PASV":
                port = self.passive()
#An address of the documentation range : nobody is there.
                self.say("227 Entering (192,0,2,1,%d,%d)" % (port // 256, port % 256))
            elif verb == "NLST":
                self.send(self.listing())
            elif verb == "RETR":
                self.send(self.file())
            elif verb == "QUIT":
                self.say("221 bye")
                return
            else:
                self.say("502 no")


def run(client):
    try:
        client.serve()
    except (OSError, ssl.SSLError):
        pass


def main():
    server = socket.create_server(("127.0.0.1", 0))
    print(server.getsockname()[1], flush=True)

    def accept():
        while True:
            control, _ = server.accept()
            threading.Thread(target=run, args=(Client(control),), daemon=True).start()

    threading.Thread(target=accept, daemon=True).start()
    sys.stdin.read()


main()
