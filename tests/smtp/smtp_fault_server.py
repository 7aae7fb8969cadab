#!/usr/bin/python3
"""A deliberately broken SMTP server for the faults aiosmtpd cannot produce:
endless replies, endless AUTH challenges, 452 after a number of recipients,
STARTTLS without a handshake, chosen refusals at any step, a SIZE limit,
temporary refusals for the first tries, a line dropped at a chosen step, a
421 after a number of mails on one connection, a chosen reply to one
recipient of a mail, a server that takes the mail and then never answers
or answers late, a server that accepts connections and never greets;
plain or implicit TLS. With --batch it answers like a pipelining server over
a slow link: replies are held while more commands are already waiting and
go out together in one write once the client pauses; a MAIL that arrives
while the reply to the previous end of data is still held is recorded as
"AHEAD after <recipients of that mail>" (the client sent it before it
could know that reply).
Plain asyncio sockets. Prints READY <port> when it listens.

Every command line it receives goes to <maildir>/transcript.txt (AUTH
responses included, message lines not), and "CLOSED" when the client has
gone. Each accepted message is written with dot-stuffing undone to
mailNNNN.eml, its envelope to mailNNNN.eml.rcpt and the MAIL FROM line to
mailNNNN.eml.mail. Each connection starts with a line "CONNECT tls=0|1
reused=0|1" (reused: the TLS session was resumed)."""
import argparse
import asyncio
import base64
import os
import ssl

args = None
count = 0
seen = {}   # step -> how often it was reached, over all connections


def reached(step):
    seen[step] = seen.get(step, 0) + 1
    return seen[step]


def record(text):
    with open(os.path.join(args.maildir, "transcript.txt"), "a", encoding="utf-8") as f:
        f.write(text + "\n")


def save(data, mail_line, mail_from, rcpts):
    global count
    count += 1
    name = os.path.join(args.maildir, "mail%04d.eml" % count)
    with open(name + ".rcpt", "w", encoding="utf-8") as f:
        f.write(mail_from + "\n" + "\n".join(rcpts) + "\n")
    with open(name + ".mail", "w", encoding="utf-8") as f:
        f.write(mail_line + "\n")
    with open(name + ".tmp", "wb") as f:
        f.write(data)
    os.rename(name + ".tmp", name)


def tempfails(step, n):
    """--tempfail STEP=N: the first N times; STEP=@N: the N-th time only."""
    rule = args.tempfail.get(step, "0")
    return n == int(rule[1:]) if rule.startswith("@") else n <= int(rule)


def address_of(line):
    text = line.decode("utf-8", "replace")
    return text[text.find("<") + 1:text.find(">")]


class Session:
    def __init__(self, reader, writer):
        self.reader = reader
        self.writer = writer
        self.mail_line = ""
        self.mail_from = ""
        self.rcpts = []
        self.rcpt_count = 0
        self.mails = 0   # accepted on this connection
        self.held = []   # --batch: replies not yet written
        self.end_held = False   # among them the reply to an end of data

    async def send(self, line):
        if args.batch:
            self.held.append(line)
            return
        self.writer.write(line.encode("utf-8") + b"\r\n")
        await self.writer.drain()

    async def flush(self):
        if self.held:
            self.writer.write("".join(line + "\r\n" for line in self.held).encode("utf-8"))
            self.held = []
            self.end_held = False
            await self.writer.drain()

    async def next_line(self):
        """--batch: a line the client sent already keeps the replies held;
        when it pauses they go out in one write."""
        if self.held:
            try:
                return await asyncio.wait_for(asyncio.shield(self.pending_line()), args.batch)
            except asyncio.TimeoutError:
                await self.flush()
        return await self.pending_line()

    def pending_line(self):
        if not hasattr(self, "_line") or self._line.done():
            self._line = asyncio.ensure_future(self.reader.readline())
        return self._line

    async def reply(self, step, default):
        await self.send(args.reply.get(step, default))

    async def fault_at(self, step):
        """True when a temporary refusal was sent instead; drops the line
        when told to (the n-th time the step is reached, over all
        connections)."""
        n = reached(step)
        if args.drop.get(step) == n:
            record("DROP " + step)
            raise ConnectionResetError()
        if tempfails(step, n):
            await self.send("451 4.3.0 Temporary failure, try again later")
            return True
        return False

    async def readline(self):
        line = await self.next_line()
        if not line:
            raise ConnectionResetError()
        text = line.rstrip(b"\r\n").decode("utf-8", "backslashreplace")
        record(text)
        return line.rstrip(b"\r\n")

    async def flood(self, first, chunk):
        await self.send(first)
        while True:
            self.writer.write(chunk)
            await self.writer.drain()

    async def ehlo(self):
        if args.fault == "endless-multiline":
            await self.flood("250-fault.test", b"250-" + b"x" * 60 + b"\r\n")
        if args.fault == "endless-line":
            await self.flood("250-fault.test", b"x" * 65536)
        if "EHLO" in args.reply:
            return await self.reply("EHLO", "")
        lines = ["fault.test", "8BITMIME"]
        if args.starttls:
            lines.append("STARTTLS")
        if args.auth:
            lines.append("AUTH " + args.auth)
        if args.size >= 0:
            lines.append("SIZE %d" % args.size)
        if args.smtputf8:
            lines.append("SMTPUTF8")
        if args.pipelining:
            lines.append("PIPELINING")
        for line in lines[:-1]:
            self.writer.write(("250-" + line + "\r\n").encode())
        await self.send("250 " + lines[-1])

    async def respond(self, challenge):
        await self.send("334 " + base64.b64encode(challenge).decode())
        line = await self.readline()
        if line.strip() == b"*":
            return None   # the client broke the exchange off
        return base64.b64decode(line)

    async def endless_challenges(self):
        n = 0
        while True:
            n += 1
            await self.send("334 " + base64.b64encode(b"challenge %d" % n).decode())
            await self.readline()

    async def auth(self, line):
        parts = line.split()
        mech = parts[1].decode().upper() if len(parts) > 1 else ""
        initial = base64.b64decode(parts[2]) if len(parts) > 2 and parts[2] != b"=" else None
        if args.fault == "endless-334":
            return await self.endless_challenges()
        ok = mech in args.auth.split()
        if mech == "LOGIN":
            user = await self.respond(b"Username:")
            password = await self.respond(b"Password:")
            ok = ok and user.decode() == args.user and password.decode() == args.password
        elif mech == "PLAIN":
            data = initial if initial is not None else await self.respond(b"")
            ok = ok and data.split(b"\0")[1:] == [args.user.encode(), args.password.encode()]
        elif mech in ("OTP", "SKEY"):
            if initial is None:
                await self.respond(b"")
            challenge = args.skey_challenge if mech == "SKEY" else "otp-md5 499 ke1234 ext"
            answer = await self.respond(challenge.encode())
            if answer is None:
                return await self.send("501 5.7.0 Authentication cancelled")
            ok = ok and (mech != "SKEY" or args.skey_answer in ("", answer.decode()))
        if not ok or mech in args.fail_auth.split():
            return await self.send("535 5.7.8 Authentication credentials invalid")
        await self.reply("AUTH", "235 2.7.0 Authentication successful")

    async def rcpt(self, line):
        if address_of(line) in args.refuse:
            return await self.send("550 5.1.1 No such user")
        if address_of(line) in args.rcpt_reply:
            return await self.send(args.rcpt_reply[address_of(line)])
        if await self.fault_at("RCPT"):
            return
        self.rcpt_count += 1
        if args.rcpt_limit and self.rcpt_count >= args.rcpt_limit:
            return await self.send("452 4.5.3 Too many recipients")
        if "RCPT" in args.reply:
            return await self.reply("RCPT", "")
        self.rcpts.append(address_of(line))
        await self.send("250 OK")

    async def data(self):
        if "DATA" in args.reply:
            return await self.reply("DATA", "")
        if not self.rcpts:
            return await self.send("554 5.5.1 No valid recipients")
        if self.rcpts[0] in args.data_reply:
            return await self.send(args.data_reply[self.rcpts[0]])
        if await self.fault_at("DATA"):
            return
        await self.send("354 go ahead")
        data = bytearray()
        while True:
            line = await self.next_line()
            if not line:
                raise ConnectionResetError()
            if line == b".\r\n":
                break
            data += line[1:] if line.startswith(b".") else line
        record("DATA-END %d" % len(data))
        self.end_held = bool(args.batch)   # whatever the reply, it is held for now
        if args.drop.get("END") == reached("END"):
            save(bytes(data), self.mail_line, self.mail_from, self.rcpts)   # taken, but the client never hears so
            record("DROP END")
            raise ConnectionResetError()
        if args.hang.get("END") == seen["END"]:
            save(bytes(data), self.mail_line, self.mail_from, self.rcpts)   # taken, but the answer never comes
            record("HANG END")
            while await self.reader.read(4096):
                pass
            raise ConnectionResetError()
        if args.delay_end:
            await asyncio.sleep(args.delay_end)
        if tempfails("END", seen["END"]):
            return await self.send("451 4.3.0 Temporary failure, try again later")
        if args.size > 0 and len(data) > args.size:
            return await self.send("552 5.3.4 Message size exceeds fixed limit")
        if "END" in args.reply:
            return await self.reply("END", "")
        if self.rcpts[0] in args.end_reply:
            record("END-REPLY " + self.rcpts[0])
            await self.send(args.end_reply[self.rcpts[0]])
            if args.end_reply[self.rcpts[0]].startswith("421"):
                await self.flush()
                raise ConnectionResetError()   # closing, as the reply says
            return
        save(bytes(data), self.mail_line, self.mail_from, self.rcpts)
        self.mails += 1
        await self.send("250 Message accepted")

    async def mail(self, line):
        if self.end_held:
            record("AHEAD after " + ",".join(self.rcpts))
        self.mail_line = line.decode("utf-8", "replace")
        self.mail_from = address_of(line)
        self.rcpts = []
        self.rcpt_count = 0
        if await self.fault_at("MAIL"):
            return
        await self.reply("MAIL", "250 OK")

    async def command(self, line):
        verb = line.split(b" ", 1)[0].split(b":", 1)[0].upper()
        if args.limit and self.mails >= args.limit and verb != b"QUIT":
            await self.send("421 4.7.0 Too many messages on this connection, closing")
            return False
        if verb == b"EHLO":
            await self.ehlo()
        elif verb == b"STARTTLS":
            await self.send("220 go ahead")
            if args.fault == "starttls-stall":
                while await self.reader.read(4096):   # the client's handshake, never answered
                    pass
                raise ConnectionResetError()
        elif verb == b"AUTH":
            await self.auth(line)
        elif verb == b"MAIL":
            await self.mail(line)
        elif verb == b"RCPT":
            await self.rcpt(line)
        elif verb == b"DATA":
            await self.data()
        elif verb == b"QUIT":
            await self.send("221 bye")
            return False
        else:
            await self.send("250 OK" if verb in (b"HELO", b"RSET", b"NOOP") else "500 unknown")
        return True

    async def run(self):
        tls = self.writer.get_extra_info("ssl_object")
        record("CONNECT tls=%d reused=%d" % (tls is not None, tls is not None and tls.session_reused))
        if args.fault == "silent":
            while await self.reader.read(4096):   # takes the connection, never says a word
                pass
            raise ConnectionResetError()
        await self.reply("GREETING", "220 fault.test ready")
        while await self.command(await self.readline()):
            pass
        await self.flush()


async def client(reader, writer):
    session = Session(reader, writer)
    try:
        await session.run()
    except (ConnectionError, asyncio.IncompleteReadError):
        pass
    finally:
        record("CLOSED")
        writer.close()


async def serve():
    context = None
    if args.tls == "implicit":
        context = ssl.create_default_context(ssl.Purpose.CLIENT_AUTH)
        context.load_cert_chain(args.cert, args.key)
    server = await asyncio.start_server(client, "127.0.0.1", args.port, limit=1 << 20, ssl=context)
    print("READY %d" % server.sockets[0].getsockname()[1], flush=True)
    async with server:
        await server.serve_forever()


def main():
    global args
    p = argparse.ArgumentParser()
    p.add_argument("--port", type=int, default=0)
    p.add_argument("--maildir", default=".")
    p.add_argument("--cert", default="")   # given to every test server
    p.add_argument("--tls", default="none", choices=["none", "implicit"])
    p.add_argument("--key", default="")
    p.add_argument("--fault", default="none",
                   choices=["none", "endless-multiline", "endless-line", "endless-334", "starttls-stall", "silent"])
    p.add_argument("--reply", action="append", default=[], help="STEP=reply line; GREETING EHLO AUTH MAIL RCPT DATA END")
    p.add_argument("--rcpt-limit", type=int, default=0, help="452 on this recipient of each transaction")
    p.add_argument("--auth", default="", help="mechanisms announced, blank-separated")
    p.add_argument("--fail-auth", default="", help="mechanisms that end in 535")
    p.add_argument("--skey-challenge", default="499 ke1234", help="S/KEY's challenge: sequence and seed")
    p.add_argument("--skey-answer", default="", help="the only S/KEY answer accepted; empty: any")
    p.add_argument("--user", default="kalvex")
    p.add_argument("--password", default="geheim")
    p.add_argument("--size", type=int, default=-1, help="SIZE announced and enforced; -1 none")
    p.add_argument("--tempfail", action="append", default=[],
                   help="STEP=N: 451 the first N times STEP is reached, STEP=@N the N-th time; MAIL RCPT DATA END")
    p.add_argument("--drop", action="append", default=[],
                   help="STEP=N: close the line the N-th time STEP is reached (END: after taking the mail)")
    p.add_argument("--limit", type=int, default=0, help="421 and close after this many mails on one connection")
    p.add_argument("--refuse", action="append", default=[], help="recipient refused with 550")
    p.add_argument("--rcpt-reply", action="append", default=[],
                   help="ADDRESS=reply line: the answer to that recipient's RCPT, every time")
    p.add_argument("--hang", action="append", default=[],
                   help="END=N: take the N-th mail, then never answer its end of data")
    p.add_argument("--delay-end", type=float, default=0, help="seconds before answering each end of data")
    p.add_argument("--starttls", action="store_true")
    p.add_argument("--smtputf8", action="store_true")
    p.add_argument("--pipelining", action="store_true", help="announce PIPELINING (commands are read in order anyway)")
    p.add_argument("--batch", type=float, default=0,
                   help="hold replies while commands wait; write them together after this many seconds of quiet")
    p.add_argument("--data-reply", action="append", default=[],
                   help="ADDRESS=reply line: the answer to DATA of the mail to that (first) recipient")
    p.add_argument("--end-reply", action="append", default=[],
                   help="ADDRESS=reply line: the answer to the end of data of that mail (421: then closes)")
    args = p.parse_args()
    args.reply = dict(r.split("=", 1) for r in args.reply)
    args.tempfail = dict(t.split("=", 1) for t in args.tempfail)
    args.drop = {k: int(v) for k, v in (t.split("=", 1) for t in args.drop)}
    args.hang = {k: int(v) for k, v in (t.split("=", 1) for t in args.hang)}
    args.rcpt_reply = dict(r.split("=", 1) for r in args.rcpt_reply)
    args.data_reply = dict(r.split("=", 1) for r in args.data_reply)
    args.end_reply = dict(r.split("=", 1) for r in args.end_reply)
    try:
        asyncio.run(serve())
    except KeyboardInterrupt:
        pass


if __name__ == "__main__":
    main()
