"""What a page of somebody else can do to a studio in the same browser, even one that knows its token. The program's own
tests ask its server everything else."""
import contextlib
import functools
import http.server
import json
import os
import pathlib
import threading
import urllib.request

import fixture
from browser import SAMPLES, until

# Each attempt ends with "refused" or with what it got.
ATTEMPTS = """
const [studio, token, body, done] = arguments;
const attempt = (path, options) => fetch(studio + path, options).then(async (answer) => answer.type === "opaque" ? "refused" : `got ${answer.status} ${(await answer.text()).slice(0, 40)}`,
  () => "refused");
const headers = {"X-Huevance-Token": token};
Promise.all([
  attempt("/api/open", {headers}),
  attempt(`/api/open?token=${token}`, {mode: "no-cors"}),
  attempt(`/?token=${token}`, {}),
  attempt("/api/save", {method: "POST", headers, body}),
  attempt("/api/save", {method: "POST", mode: "no-cors", body}),
  attempt("/assets/main.mjs", {}),
  import(studio + "/assets/edits.mjs").then(() => "got a module", () => "refused"),
]).then(done);
"""


@contextlib.contextmanager
def somebody_elses_page(folder, html):
    pathlib.Path(folder, "index.html").write_text(html)

    class Quiet(http.server.SimpleHTTPRequestHandler):
        def log_message(self, *_):
            pass
    server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), functools.partial(Quiet, directory=folder))
    threading.Thread(target=server.serve_forever, daemon=True).start()
    yield f"http://127.0.0.1:{server.server_port}/"
    server.shutdown()
    server.server_close()


class Stranger(fixture.Test):
    def test_page_of_another_origin(self):
        directory = pathlib.Path(self.tuning("neutral"))
        before = {file.name: file.read_bytes() for file in directory.iterdir()}
        studio = self.serve(directory, os.path.join(SAMPLES, "portrait.jpg"))
        asked = urllib.request.Request(f"http://127.0.0.1:{studio.port}/api/open", headers={"X-Huevance-Token": studio.token})
        with urllib.request.urlopen(asked) as answer:
            opened = json.load(answer)
        opened["document"]["tables"][0]["look"]["colorStrength"] = 0.5
        body = json.dumps({"document": opened["document"], "base": opened["base"], "force": True})  # good but for where it comes from
        html = f'<!doctype html><iframe src="{studio.url}"></iframe><form method="post" action="http://127.0.0.1:{studio.port}/api/save"></form>'
        folder = os.path.join(self.folder, "stranger")
        os.mkdir(folder)
        with somebody_elses_page(folder, html) as address:
            self.driver.get(address)
            attempts = self.driver.execute_async_script(ATTEMPTS, f"http://127.0.0.1:{studio.port}", studio.token, body)
            self.assertEqual(attempts, ["refused"] * len(attempts))
            self.driver.switch_to.frame(0)
            self.assertEqual(self.driver.find_elements("id", "stage"), [], "nobody frames the studio")
            self.driver.switch_to.default_content()
            self.driver.execute_script("document.forms[0].submit()")
            until(lambda: self.driver.current_url.endswith("/api/save"), "the form's answer")
            self.assertIn("error", self.driver.page_source)
        self.assertEqual({file.name: file.read_bytes() for file in directory.iterdir()}, before)
        self.driver.get("about:blank")
