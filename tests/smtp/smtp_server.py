#!/usr/bin/python3
"""SMTP peer for the tests: aiosmtpd with TLS/AUTH variants, or a raw
server that misbehaves on purpose. Prints READY <port> when it listens and
writes every received message raw to --maildir."""
import argparse
import asyncio
import base64
import hashlib
import hmac
import os
import socket
import ssl
import sys
import time
import json
import urllib.parse
import urllib.request

from aiosmtpd.controller import Controller
from aiosmtpd.smtp import AuthResult, LoginPassword, auth_mechanism

args = None


def authenticator(server, session, envelope, mechanism, auth_data):
    if isinstance(auth_data, LoginPassword):
        ok = auth_data.login.decode() == args.user and auth_data.password.decode() == args.password
        return AuthResult(success=ok)
    return AuthResult(success=False)


def token_user(token):
    """Asks the OAuth test server whose token this is; None when it is not good."""
    data = urllib.parse.urlencode({"token": token, "client_id": args.oauth_client}).encode()
    opener = urllib.request.build_opener(urllib.request.ProxyHandler({}))   # 127.0.0.1 never via a proxy
    try:
        with opener.open(args.oauth + "/introspect", data, timeout=10) as r:
            answer = json.loads(r.read())
    except urllib.error.HTTPError as e:
        print("introspect:", e.code, e.read(), token, file=sys.stderr, flush=True)
        return None
    return answer.get("username") if answer.get("active") else None


async def oauth_result(server, user, token):
    """A refused token gets the providers' JSON challenge; the client's
    dummy answer is then followed by 535."""
    if user and token_user(token) == user:
        return AuthResult(success=True, handled=False)
    challenge = json.dumps({"status": "401", "schemes": "bearer", "scope": "https://mail.google.com/"})
    answer = await server.challenge_auth(challenge, encode_to_b64=True)
    with open(os.path.join(args.maildir, "oauth-dummy-answers"), "ab") as f:
        f.write(repr(answer).encode() + b"\n")
    return AuthResult(success=False, handled=False)


def bearer(fields):
    for field in fields:
        if field.lower().startswith(b"auth=bearer "):
            return field[12:].decode()
    return ""


class Handler:
    def __init__(self):
        self.count = 0

    @auth_mechanism("XOAUTH2")
    async def auth_XOAUTH2(self, server, args_):
        blob = base64.b64decode(args_[1]) if len(args_) > 1 else await server.challenge_auth("")
        fields = blob.split(b"\x01")
        user = fields[0][5:].decode() if fields[0].startswith(b"user=") else ""
        return await oauth_result(server, user, bearer(fields))

    @auth_mechanism("OAUTHBEARER")
    async def auth_OAUTHBEARER(self, server, args_):
        blob = base64.b64decode(args_[1]) if len(args_) > 1 else await server.challenge_auth("")
        fields = blob.split(b"\x01")
        gs2 = fields[0].split(b",")
        user = next((g[2:].decode() for g in gs2 if g.startswith(b"a=")), "")
        return await oauth_result(server, user, bearer(fields[1:]))

    @auth_mechanism("CRAM-MD5")
    async def auth_CRAM__MD5(self, server, args_):
        challenge = b"<%d.%d@kalvex.test>" % (os.getpid(), int(time.time()))
        response = await server.challenge_auth(challenge, encode_to_b64=True)
        if response is None:
            return AuthResult(success=False, handled=False)
        user, _, digest = response.partition(b" ")
        expected = hmac.new(args.password.encode(), challenge, hashlib.md5).hexdigest().encode()
        return AuthResult(success=(user.decode() == args.user and digest == expected), handled=False)

    async def handle_MAIL(self, server, session, envelope, address, mail_options):
        if args.fail_at == "MAIL":
            return args.fail_reply
        envelope.mail_from = address
        envelope.mail_options.extend(mail_options)
        return "250 OK"

    async def handle_RCPT(self, server, session, envelope, address, rcpt_options):
        if args.fail_at == "RCPT" or address.startswith("refuse"):
            return args.fail_reply
        envelope.rcpt_tos.append(address)
        return "250 OK"

    async def handle_DATA(self, server, session, envelope):
        if args.fail_at == "END":
            return args.fail_reply
        self.count += 1
        name = os.path.join(args.maildir, "mail%04d.eml" % self.count)
        with open(name + ".tmp", "wb") as f:
            f.write(envelope.original_content)
        with open(name + ".rcpt", "w", encoding="utf-8") as f:
            f.write(envelope.mail_from + "\n" + "\n".join(envelope.rcpt_tos) + "\n")
        with open(name + ".mail", "w", encoding="utf-8") as f:
            f.write(" ".join(["MAIL FROM:<%s>" % envelope.mail_from] + envelope.mail_options) + "\n")
        os.rename(name + ".tmp", name)
        return "250 Message accepted"


class PipeliningHandler(Handler):
    """Announces PIPELINING, as the large providers do. aiosmtpd reads one
    command after the other from the stream, so it takes pipelined commands
    as they come; it only never says so."""

    async def handle_EHLO(self, server, session, envelope, hostname, responses):
        session.host_name = hostname
        return responses[:-1] + ["250-PIPELINING", responses[-1]]


def tls_context():
    ctx = ssl.create_default_context(ssl.Purpose.CLIENT_AUTH)
    ctx.load_cert_chain(args.cert, args.key)
    return ctx


async def raw_server():
    """silent: accept, never answer. closedata: drop the line during DATA."""
    async def client(reader, writer):
        if args.mode == "silent":
            await asyncio.sleep(3600)
            return
        writer.write(b"220 raw ready\r\n")
        await writer.drain()
        in_data = False
        received = 0
        while True:
            line = await reader.readline()
            if not line:
                return
            if in_data:
                received += len(line)
                if received > 2000:
                    writer.close()
                    return
                continue
            cmd = line.strip().upper()
            if cmd.startswith(b"EHLO"):
                writer.write(b"250-raw\r\n250 8BITMIME\r\n")
            elif cmd.startswith(b"DATA"):
                writer.write(b"354 go ahead\r\n")
                in_data = True
            else:
                writer.write(b"250 OK\r\n")
            await writer.drain()

    server = await asyncio.start_server(client, "127.0.0.1", args.port)
    port = server.sockets[0].getsockname()[1]
    print("READY %d" % port, flush=True)
    async with server:
        await server.serve_forever()


def main():
    global args
    p = argparse.ArgumentParser()
    p.add_argument("--port", type=int, default=0)
    p.add_argument("--mode", default="aiosmtpd", choices=["aiosmtpd", "silent", "closedata"])
    p.add_argument("--tls", default="none", choices=["none", "starttls", "implicit"])
    p.add_argument("--auth", default="", help="comma list: PLAIN,LOGIN,CRAM-MD5; empty = no AUTH")
    p.add_argument("--user", default="kalvex")
    p.add_argument("--password", default="geheim")
    p.add_argument("--cert", default="")
    p.add_argument("--key", default="")
    p.add_argument("--maildir", default=".")
    p.add_argument("--fail-at", default="", choices=["", "MAIL", "RCPT", "END"])
    p.add_argument("--fail-reply", default="550 refused")
    p.add_argument("--oauth", default="", help="base address of the OAuth test server (XOAUTH2, OAUTHBEARER)")
    p.add_argument("--oauth-client", default="kalvex-test-client")
    p.add_argument("--smtputf8", action="store_true", help="announce SMTPUTF8")
    p.add_argument("--pipelining", action="store_true", help="announce PIPELINING")
    args = p.parse_args()

    if args.mode != "aiosmtpd":
        asyncio.run(raw_server())
        return

    port = args.port
    if port == 0:
        s = socket.socket()
        s.bind(("127.0.0.1", 0))
        port = s.getsockname()[1]
        s.close()
    offered = [m for m in args.auth.split(",") if m]
    all_mechs = ["PLAIN", "LOGIN", "CRAM-MD5", "XOAUTH2", "OAUTHBEARER"]
    kwargs = dict(hostname="127.0.0.1", port=port, authenticator=authenticator,
                  auth_exclude_mechanism=[m for m in all_mechs if m not in offered],
                  auth_require_tls=False, data_size_limit=None, enable_SMTPUTF8=args.smtputf8)
    if not offered:
        kwargs["auth_required"] = False
    if args.tls == "starttls":
        kwargs["tls_context"] = tls_context()
        kwargs["require_starttls"] = True
    elif args.tls == "implicit":
        kwargs["ssl_context"] = tls_context()
    controller = Controller(PipeliningHandler() if args.pipelining else Handler(), **kwargs)
    controller.start()
    print("READY %d" % port, flush=True)
    try:
        while True:
            time.sleep(3600)
    finally:
        controller.stop()


if __name__ == "__main__":
    main()
