#!/usr/bin/python3
"""All tests of the studio: studio_test.py PROGRAM [unittest's own arguments]. PROGRAM is the built huevance."""
import os
import sys
import unittest

sys.dont_write_bytecode = True
sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))

import fixture  # noqa: E402
from access_test import *  # noqa: E402, F401, F403
from edits_test import *  # noqa: E402, F401, F403
from session_test import *  # noqa: E402, F401, F403

if __name__ == "__main__":
    with fixture.shared(os.path.abspath(sys.argv.pop(1))):
        finished = unittest.main(verbosity=2, exit=False)
    sys.exit(0 if finished.result.wasSuccessful() else 1)
