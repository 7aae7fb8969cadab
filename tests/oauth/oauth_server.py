#!/usr/bin/python3
"""OAuth 2.0 authorization server for the tests, on oauthlib: authorization
code with PKCE (auto-approved), refresh, revocation, introspection (the SMTP
peer asks it whether a token is good) and the device grant (RFC 8628, a
grant of our own: oauthlib has only its client side). With --strict it acts
as a strict OpenID provider: offline_access (and so a refresh token) only
with prompt=consent, the account's claims only from UserInfo. --rotate
issues a new refresh token with every refresh and takes the reuse of an old
one for theft (the whole grant is revoked). --client-secret makes the
client confidential (HTTP Basic, or the body with --client-auth body).
Prints READY <port>."""
import argparse
import base64
import json
import os
import secrets
import threading
import time
from http.server import BaseHTTPRequestHandler, ThreadingHTTPServer
import uuid
from urllib.parse import parse_qs, unquote_plus, urlparse

os.environ["OAUTHLIB_INSECURE_TRANSPORT"] = "1"   # plain HTTP on 127.0.0.1 only

from oauthlib.common import Request
from oauthlib.oauth2 import BearerToken, RequestValidator, Server

args = None
lock = threading.Lock()
codes = {}       # code -> {client_id, redirect_uri, challenge, method, scopes}
access = {}      # token -> {expires, client_id, scopes, active}
refresh = {}     # token -> {client_id, scopes, active, used, grant}
devices = {}     # device_code -> {user_code, approved, expires, client_id, scopes}
stats = {"authorization_code": 0, "refresh_token": 0, "device_code": 0, "introspect": 0, "invalid_grant": 0,
         "reuse": 0, "revoke": 0, "userinfo": 0, "basic_auth": 0}
grants = threading.Lock()   # one token request at a time, as one database would
next_answers = []           # canned answers for the next token requests (tests of bad providers)


class Client:
    def __init__(self, client_id):
        self.client_id = client_id


def id_token():
    """Unsigned: the client takes its claims straight from the token endpoint."""
    def part(obj):
        return base64.urlsafe_b64encode(json.dumps(obj).encode()).rstrip(b"=").decode()
    claims = {"iss": "kalvex-test", "sub": "4711", "iat": int(time.time())}
    if not args.strict:   # a strict provider tells these through UserInfo only
        claims.update({"email": args.user, "preferred_username": args.user, "name": "Test Nutzer"})
    return part({"alg": "none"}) + "." + part(claims) + "."


def basic_credentials(headers):
    """RFC 6749 §2.3.1: id and secret form-encoded, then base64."""
    value = headers.get("Authorization") or headers.get("authorization") or ""
    if not value.startswith("Basic "):
        return None
    pair = base64.b64decode(value[6:]).decode()
    client_id, _, secret = pair.partition(":")
    return unquote_plus(client_id), unquote_plus(secret)


def client_of(headers, form):
    """The authenticated client's id, or None. A confidential client must use
    the method the server was started with, and only that one."""
    basic = basic_credentials(headers)
    if not args.client_secret:
        client_id = form.get("client_id")
    elif args.client_auth == "basic":
        if basic is None or basic[1] != args.client_secret or "client_secret" in form:
            return None
        stats["basic_auth"] += 1
        client_id = basic[0]
    else:
        if basic is not None or form.get("client_secret") != args.client_secret:
            return None
        client_id = form.get("client_id")
    return client_id if client_id == args.client_id else None


class Validator(RequestValidator):
    def validate_client_id(self, client_id, request, *a, **k):
        return client_id == args.client_id

    def authenticate_client_id(self, client_id, request, *a, **k):
        if client_id != args.client_id:
            return False
        request.client = Client(client_id)
        return True

    def authenticate_client(self, request, *a, **k):
        form = {k: v for k, v in request.decoded_body or []}
        client_id = client_of(request.headers, form)
        if client_id is None:
            return False
        request.client_id = client_id
        request.client = Client(client_id)
        return True

    def client_authentication_required(self, request, *a, **k):
        return bool(args.client_secret) and not request.uri.endswith("/introspect")

    def validate_redirect_uri(self, client_id, redirect_uri, request, *a, **k):
        return redirect_uri.startswith("http://127.0.0.1:")

    def get_default_redirect_uri(self, client_id, request, *a, **k):
        return None

    def validate_response_type(self, client_id, response_type, client, request, *a, **k):
        return response_type == "code"

    def validate_scopes(self, client_id, scopes, client, request, *a, **k):
        return True

    def get_default_scopes(self, client_id, request, *a, **k):
        return ["smtp"]

    def is_pkce_required(self, client_id, request):
        return True

    def save_authorization_code(self, client_id, code, request, *a, **k):
        scopes = list(request.scopes)
        prompt = parse_qs(urlparse(request.uri).query).get("prompt", [""])[0]
        if args.strict and "consent" not in prompt.split():   # OpenID Connect Core §11
            scopes = [s for s in scopes if s != "offline_access"]
        with lock:
            codes[code["code"]] = {"client_id": client_id, "redirect_uri": request.redirect_uri,
                                   "challenge": request.code_challenge,
                                   "method": request.code_challenge_method, "scopes": scopes}

    def get_code_challenge(self, code, request):
        return codes.get(code, {}).get("challenge")

    def get_code_challenge_method(self, code, request):
        return codes.get(code, {}).get("method")

    def validate_code(self, client_id, code, client, request, *a, **k):
        entry = codes.get(code)
        if not entry or entry["client_id"] != client_id:
            return False
        request.scopes = entry["scopes"]
        request.user = args.user
        return True

    def confirm_redirect_uri(self, client_id, code, redirect_uri, client, request, *a, **k):
        return codes.get(code, {}).get("redirect_uri") == redirect_uri

    def invalidate_authorization_code(self, client_id, code, request, *a, **k):
        with lock:
            codes.pop(code, None)

    def validate_grant_type(self, client_id, grant_type, client, request, *a, **k):
        return True

    def save_bearer_token(self, token, request, *a, **k):
        save_token(token, request.client_id or args.client_id, request.scopes or [], request.refresh_token)

    def validate_refresh_token(self, refresh_token, client, request, *a, **k):
        entry = refresh.get(refresh_token)
        if entry and entry["used"]:   # a rotated token again: stolen, the grant ends
            stats["reuse"] += 1
            revoke_grant(entry["grant"])
        if not entry or not entry["active"]:
            stats["invalid_grant"] += 1
            return False
        request.user = args.user
        return True

    def get_original_scopes(self, refresh_token, request, *a, **k):
        return refresh[refresh_token]["scopes"]

    def is_within_original_scope(self, request_scopes, refresh_token, request, *a, **k):
        return True

    def rotate_refresh_token(self, request):
        return args.rotate

    def revoke_token(self, token, token_type_hint, request, *a, **k):
        stats["revoke"] += 1
        with lock:
            for table in (access, refresh):
                if token in table:
                    table[token]["active"] = False

    def introspect_token(self, token, token_type_hint, request, *a, **k):
        stats["introspect"] += 1
        entry = access.get(token)
        if not entry or not entry["active"] or entry["expires"] < time.time():
            return None
        return {"username": args.user, "scope": " ".join(entry["scopes"]), "exp": int(entry["expires"])}


def revoke_grant(grant):
    with lock:
        for table in (access, refresh):
            for entry in table.values():
                if entry["grant"] == grant:
                    entry["active"] = False


def save_token(token, client_id, scopes, previous_refresh=None):
    """Stores a new token; a refresh keeps the grant of the token it used."""
    if args.strict and "offline_access" not in scopes:
        token.pop("refresh_token", None)
    with lock:
        old = refresh.get(previous_refresh) if previous_refresh else None
        grant = old["grant"] if old else uuid.uuid4().hex
        access[token["access_token"]] = {"expires": time.time() + token["expires_in"], "client_id": client_id,
                                         "scopes": scopes, "active": True, "grant": grant}
        new = token.get("refresh_token")
        if old and new != previous_refresh:
            old["used"] = True
        if new and new != previous_refresh:
            refresh[new] = {"client_id": client_id, "scopes": scopes, "active": True, "used": False, "grant": grant}
    token["id_token"] = id_token()


validator = Validator()
server = None


def device_token(headers, form):
    """The device grant's token request: pending until the user approved."""
    entry = devices.get(form.get("device_code", ""))
    if client_of(headers, form) is None:
        return 401, {"error": "invalid_client"}
    if not entry or entry["client_id"] != client_of(headers, form):
        return 400, {"error": "invalid_grant"}
    if entry["expires"] < time.time():
        return 400, {"error": "expired_token"}
    if entry["denied"]:
        return 400, {"error": "access_denied"}
    if not entry["approved"]:
        return 400, {"error": "authorization_pending"}
    devices.pop(form["device_code"])
    stats["device_code"] += 1
    request = Request("http://127.0.0.1/token", "POST")
    request.scopes = entry["scopes"]
    request.client_id = entry["client_id"]
    request.user = args.user
    token = BearerToken(validator, expires_in=args.lifetime).create_token(request, refresh_token=True)
    save_token(token, entry["client_id"], entry["scopes"])
    return 200, dict(token)


class Handler(BaseHTTPRequestHandler):
    def log_message(self, fmt, *a):
        pass

    def base(self):
        return "http://127.0.0.1:%d" % self.server.server_address[1]

    def reply(self, status, body, headers=None, content_type="application/json"):
        data = body if isinstance(body, bytes) else (body if isinstance(body, str) else json.dumps(body)).encode()
        self.send_response(status)
        for k, v in (headers or {}).items():
            if k.lower() not in ("content-type", "content-length"):
                self.send_header(k, v)
        self.send_header("Content-Type", content_type)
        self.send_header("Content-Length", str(len(data)))
        self.end_headers()
        self.wfile.write(data)

    def form(self):
        length = int(self.headers.get("Content-Length") or 0)
        body = self.rfile.read(length).decode()
        return body, {k: v[0] for k, v in parse_qs(body).items()}

    def do_GET(self):
        url = urlparse(self.path)
        query = {k: v[0] for k, v in parse_qs(url.query).items()}
        if url.path == "/authorize":
            return self.authorize()
        if url.path == "/device":   # the user types the code (what the terminal showed) and approves
            for entry in devices.values():
                if "".join(c for c in entry["user_code"] if c >= " " and c != "\x7f") == query.get("user_code"):
                    entry["approved"] = query.get("deny") is None
                    entry["denied"] = query.get("deny") is not None
                    return self.reply(200, "approved", content_type="text/plain")
            return self.reply(404, "unknown code", content_type="text/plain")
        if url.path == "/control/stats":
            return self.reply(200, stats)
        if url.path == "/.well-known/openid-configuration":
            b = self.base()
            return self.reply(200, {"issuer": b, "authorization_endpoint": b + "/authorize", "token_endpoint": b + "/token",
                                    "device_authorization_endpoint": b + "/devicecode", "userinfo_endpoint": b + "/userinfo",
                                    "revocation_endpoint": b + "/revoke", "introspection_endpoint": b + "/introspect"})
        if url.path == "/userinfo":
            return self.userinfo()
        self.reply(404, {"error": "not_found"})

    def authorize(self):
        uri = self.base() + self.path
        try:
            scopes, credentials = server.validate_authorization_request(uri, "GET", None, dict(self.headers))
            headers, body, status = server.create_authorization_response(uri, "GET", None, dict(self.headers),
                                                                         scopes, credentials)
        except Exception as e:   # a bad request is the test's failure to see
            return self.reply(400, {"error": type(e).__name__, "error_description": str(e)})
        self.reply(status, body or "", headers, "text/plain")

    def userinfo(self):
        """OpenID Connect Core §5.3: the claims for a good access token."""
        value = self.headers.get("Authorization", "")
        entry = access.get(value[7:]) if value.startswith("Bearer ") else None
        if not entry or not entry["active"] or entry["expires"] < time.time():
            return self.reply(401, {"error": "invalid_token"}, {"WWW-Authenticate": 'Bearer error="invalid_token"'})
        stats["userinfo"] += 1
        self.reply(200, {"sub": "4711", "email": args.user, "email_verified": True, "name": "Test Nutzer"})

    def canned(self, answer):
        """A bad provider's answer: a page, JSON without token, or a flood."""
        if "flood" in answer:
            self.send_response(200)
            self.send_header("Content-Type", "application/json")
            self.end_headers()   # no length: the body ends when the connection does
            try:
                self.wfile.write(b'{"access_token": "flut", "token_type": "Bearer", "pad": "')
                for _ in range(answer["flood"] // 65536):
                    self.wfile.write(b" " * 65536)
                self.wfile.write(b'"}')
            except (BrokenPipeError, ConnectionResetError):
                pass
            self.close_connection = True
            return
        self.reply(answer["status"], answer["body"], content_type=answer["content_type"])

    def do_POST(self):
        url = urlparse(self.path)
        body, form = self.form()
        if url.path == "/token":
            return self.token(body, form)
        if url.path == "/devicecode":
            return self.device_code(form)
        if url.path == "/introspect":
            headers, out, status = server.create_introspect_response(self.base() + "/introspect", "POST", body,
                                                                     dict(self.headers))
            return self.reply(status, out, headers)
        if url.path == "/revoke":
            headers, out, status = server.create_revocation_response(self.base() + "/revoke", "POST", body,
                                                                     dict(self.headers))
            return self.reply(status, out or "{}", headers)
        if url.path == "/control/next-token-answer":
            next_answers.append(json.loads(body))
            return self.reply(200, {})
        if url.path == "/control/revoke-refresh":
            for entry in refresh.values():
                entry["active"] = False
            return self.reply(200, {})
        if url.path == "/control/expire-access":   # the SMTP server stops trusting the tokens it saw
            for entry in access.values():
                entry["active"] = False
            return self.reply(200, {})
        self.reply(404, {"error": "not_found"})

    def token(self, body, form):
        if next_answers:
            return self.canned(next_answers.pop(0))
        if form.get("grant_type") == "urn:ietf:params:oauth:grant-type:device_code":
            status, out = device_token(self.headers, form)
            return self.reply(status, out)
        if form.get("grant_type") == "refresh_token":
            time.sleep(args.refresh_delay)   # a slow provider: room for two clients to meet
        with grants:
            if form.get("grant_type") in stats:
                stats[form["grant_type"]] += 1
            headers, out, status = server.create_token_response(self.base() + "/token", "POST", body, dict(self.headers))
        self.reply(status, out, headers)

    def device_code(self, form):
        client_id = client_of(self.headers, form)
        if client_id is None:
            return self.reply(401, {"error": "invalid_client"})
        device, user = secrets.token_urlsafe(24), "%04d-%04d" % (secrets.randbelow(10000), secrets.randbelow(10000))
        shown = "\x1b]0;gekapert\x07\x1b[2J" + user if args.hostile_device else user   # drives a raw terminal
        devices[device] = {"user_code": shown, "approved": False, "denied": False, "expires": time.time() + 600,
                           "client_id": client_id, "scopes": form.get("scope", "").split()}
        self.reply(200, {"device_code": device, "user_code": shown, "verification_uri": self.base() + "/device",
                         "expires_in": 600, "interval": 1})


def main():
    global args, server
    p = argparse.ArgumentParser()
    p.add_argument("--client-id", default="kalvex-test-client")
    p.add_argument("--user", default="nutzer@kalvex.test")
    p.add_argument("--lifetime", type=int, default=3600, help="seconds an access token lives")
    p.add_argument("--rotate", action="store_true", help="issue a new refresh token with every refresh, detect reuse")
    p.add_argument("--strict", action="store_true", help="a strict OpenID provider (consent, UserInfo)")
    p.add_argument("--client-secret", default="", help="a confidential client with this secret")
    p.add_argument("--client-auth", choices=["basic", "body"], default="basic")
    p.add_argument("--refresh-delay", type=float, default=0, help="seconds a refresh answer takes")
    p.add_argument("--hostile-device", action="store_true", help="terminal escapes in the device answer")
    args = p.parse_args()
    server = Server(validator, token_expires_in=args.lifetime)
    httpd = ThreadingHTTPServer(("127.0.0.1", 0), Handler)
    print("READY %d" % httpd.server_address[1], flush=True)
    httpd.serve_forever()


if __name__ == "__main__":
    main()
