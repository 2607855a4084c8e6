# SPDX-License-Identifier: MIT
# Shared by the module's tests: the demo definitions of the examples.
import os
import pathlib

import pytest

import korv

EXAMPLES = pathlib.Path(os.environ.get("KORV_EXAMPLES", pathlib.Path(__file__).resolve().parents[2] / "examples"))


@pytest.fixture(scope="session")
def defs():
    return korv.Definitions(EXAMPLES / "demo.qrvdef")
