"""An FTP server on the loopback for tests: ftp_server.py ROOT [USER PASSWORD].  Prints its port, serves until its
standard input ends."""
import logging
import sys
import threading

from pyftpdlib.authorizers import DummyAuthorizer
from pyftpdlib.handlers import FTPHandler
from pyftpdlib.servers import FTPServer


def main():
    logging.basicConfig(level=logging.ERROR)
    authorizer = DummyAuthorizer()
    if len(sys.argv) > 3:
        authorizer.add_user(sys.argv[2], sys.argv[3], sys.argv[1], perm="elr")
    else:
        authorizer.add_anonymous(sys.argv[1], perm="elr")
    FTPHandler.authorizer = authorizer
    server = FTPServer(("127.0.0.1", 0), FTPHandler)
    print(server.address[1], flush=True)
    serve = threading.Thread(target=server.serve_forever, daemon=True)
    serve.start()
    sys.stdin.read()


main()
