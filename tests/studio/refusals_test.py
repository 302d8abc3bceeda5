"""What the studio refuses, as a program beside the browser sees it."""
import http.client
import json
import os

import fixture
from browser import SAMPLES

PORTRAIT = os.path.join(SAMPLES, "portrait.jpg")
OWN, LOCAL = "OWN", "LOCAL"  # the right values, by address and by name


class Refusals(fixture.Test):
    def setUp(self):
        super().setUp()
        self.directory = self.tuning("neutral")
        with open(os.path.join(self.directory, "secret.txt"), "w") as file:
            file.write("secret")
        self.studio = self.serve(self.directory, PORTRAIT)

    def ask(self, method, path, headers=None, body=None, host=OWN, token=OWN, origin=None):
        connection = http.client.HTTPConnection("127.0.0.1", self.studio.port, timeout=20)
        known = {OWN: f"127.0.0.1:{self.studio.port}", LOCAL: f"localhost:{self.studio.port}"}
        sent = {"Host": known.get(host, host), **(headers or {})}
        if token is not None:
            sent["X-Huevance-Token"] = self.studio.token if token == OWN else token
        if origin is not None:
            sent["Origin"] = "http://" + known[origin] if origin in known else origin
        try:
            connection.request(method, path, body=body, headers=sent)
            answer = connection.getresponse()
            return answer.status, dict(answer.getheaders()), answer.read()
        finally:
            connection.close()

    def test_doors(self):
        right, wrong = f"/?token={self.studio.token}", "x" * len(self.studio.token)
        cases = [
            (200, "GET", right, {"token": None}),
            (200, "GET", right, {"token": None, "host": LOCAL}),
            (403, "GET", "/", {"token": None}),
            (403, "GET", f"/?token={wrong}", {"token": None}),
            (403, "GET", f"/?token={self.studio.token[:-1]}", {"token": None}),
            (403, "GET", right, {"host": "example.com"}),
            (403, "GET", right, {"host": f"example.com:{self.studio.port}"}),
            (403, "GET", right, {"host": "127.0.0.1:1"}),
            (403, "GET", right, {"origin": "http://example.com"}),
            (403, "GET", right, {"origin": "null"}),
            (403, "GET", right, {"origin": f"https://127.0.0.1:{self.studio.port}"}),
            (200, "GET", "/api/open", {}),
            (200, "GET", "/api/open", {"origin": OWN}),
            (200, "GET", "/api/open", {"origin": LOCAL, "host": LOCAL}),
            (403, "GET", "/api/open", {"token": None}),
            (403, "GET", "/api/open", {"token": wrong}),
            (403, "GET", f"/api/open?token={self.studio.token}", {"token": None}),
            (403, "GET", "/api/open", {"origin": "http://example.com"}),
            (403, "GET", "/api/state", {"host": "rebound.example"}),
            (403, "POST", "/api/save", {"token": wrong, "body": "{}"}),
            (403, "POST", "/api/render", {"origin": "http://127.0.0.1:1", "body": "{}"}),
        ]
        for status, method, path, how in cases:
            with self.subTest(path=path, **how):
                self.assertEqual(self.ask(method, path, **how)[0], status)

    def test_paths(self):
        for path in ("/assets/../index.html", "/assets/..%2f..%2fetc%2fpasswd", "/assets//etc/passwd", "//etc/passwd",
                     "/etc/passwd", f"/..{self.directory}/secret.txt", "/assets/secret.txt", "/secret.txt", "/api/nothing",
                     "/assets/", "/assets/main.mjs%00.txt", f"/assets/{self.directory}/secret.txt"):
            with self.subTest(path):
                status, _, body = self.ask("GET", path)
                self.assertIn(status, (400, 403, 404))
                self.assertNotIn(b"secret", body)
                self.assertNotIn(b"root:", body)

    def test_answers_say_how_to_be_used(self):
        _, headers, body = self.ask("GET", f"/?token={self.studio.token}")
        self.assertIn("default-src 'self'", headers["Content-Security-Policy"])
        self.assertIn("frame-ancestors 'none'", headers["Content-Security-Policy"])
        self.assertEqual(headers["X-Content-Type-Options"], "nosniff")
        self.assertIn("no-store", headers["Cache-Control"])
        self.assertEqual(headers["Referrer-Policy"], "no-referrer")
        self.assertNotIn(b"http://", body.replace(b"http://www.w3.org", b""), "the page works offline")

    def test_bodies(self):
        document = json.loads(self.ask("GET", "/api/open")[2])["document"]
        look = document["tables"][0]["look"]

        def render(**changes):
            return json.dumps({"document": document, "photo": 0, "table": 0, "mode": "photo", "backEnd": None, "stage": None,
                               "pixels": 1000, "crop": None, "serial": 1, **changes})
        cases = [
            ("/api/render", "{"), ("/api/render", "[]"), ("/api/render", "null"), ("/api/render", b"\xff\xfe"),
            ("/api/render", render(photo=7)), ("/api/render", render(photo=-1)), ("/api/render", render(photo="../x")),
            ("/api/render", render(table=9)), ("/api/render", render(mode="film")), ("/api/render", render(backEnd="VPU")),
            ("/api/render", render(crop=[0, 0, 99999, 99999])), ("/api/render", render(stage="../../etc")),
            ("/api/render", render(document={**document, "tables": [{"look": {**look, "satStrength": 1e9}}]})),
            ("/api/curves", json.dumps({"look": {**look, "curve": {"points": [[9, 9]]}}})),
            ("/api/lut?name=a.cube", "LUT_3D_SIZE 2\n0 0 0\n"), ("/api/lut?name=../../a.cube", b"\0" * 100), ("/api/lut", "x"),
            ("/api/fit?table=0", "no form"), ("/api/save", json.dumps({"document": {}, "base": "x"})),
            ("/api/fade", json.dumps({"document": document, "photo": 0, "from": 0, "to": 5, "frames": 9, "pixels": 1000})),
            ("/api/pick", json.dumps({"rgb": [1]})),
        ]
        for path, body in cases:
            with self.subTest(path=path, body=body[:60]):
                status, _, answer = self.ask("POST", path, body=body)
                self.assertIn(status, range(400, 500))
                self.assertTrue(json.loads(answer)["error"])
        status, _, _ = self.ask("POST", "/api/lut?name=a.cube", body=bytes(65 << 20))
        self.assertEqual(status, 413)
        self.assertEqual(self.ask("GET", "/api/state")[0], 200, "it goes on serving")
