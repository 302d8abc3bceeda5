"""What every test of the studio has: one browser for all of them, and directories that go away."""
import contextlib
import json
import os
import pathlib
import shutil
import tempfile
import unittest

from browser import Page, Studio, Tool, chromium

_shared = {}


@contextlib.contextmanager
def shared(program):
    """The program under test, and one browser for all tests."""
    with chromium() as driver:
        _shared.update(tool=Tool(program), driver=driver)
        yield


class Test(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.mkdtemp()
        self.directory = os.path.join(self.folder, "tuning")
        self.addCleanup(shutil.rmtree, self.folder)

    @property
    def tool(self):
        return _shared["tool"]

    @property
    def driver(self):
        return _shared["driver"]

    def tuning(self, looks, *arguments):
        self.tool("tuning", "new", self.directory, "--looks", looks, *arguments)
        return self.directory

    def serve(self, directory, *photos, **how):
        studio = Studio(self.tool, directory, *photos, **how).__enter__()
        self.addCleanup(studio.__exit__)
        return studio

    def open(self, directory, *photos, **how):
        self.studio = self.serve(directory, *photos)
        page = Page(self.driver, self.studio, **how)
        self.addCleanup(page.driver.get, "about:blank")
        return page

    def contents(self):
        """Every file of the tuning."""
        return {file.name: file.read_bytes() for file in pathlib.Path(self.directory).iterdir()}

    def look(self, name):
        return next(look for look in self.tables() if look["name"] == name)

    def looks(self):
        """Names in the order of their tables."""
        return [look["name"] for look in self.tables()]

    def tables(self):
        files = sorted(pathlib.Path(self.directory).glob("look*.json"), key=lambda file: int(file.stem[4:]))
        return [json.loads(file.read_text()) for file in files]
