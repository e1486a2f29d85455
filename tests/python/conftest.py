"""Shared fixtures of the rfabg tests: the source tree, rfa-process and the bundled samples."""
import os
import pathlib
import subprocess

import numpy as np
import pytest

import rfabg

SOURCE = pathlib.Path(os.environ.get("ZR_SOURCE_DIR", pathlib.Path(__file__).parents[2]))
SAMPLES = SOURCE / "tests" / "data" / "samples"
RFA_PROCESS = os.environ.get("RFA_PROCESS", str(SOURCE / "build" / "tools" / "rfa-process"))


def run_rfa_process(*args):
    """Runs rfa-process; returns its exit status and standard error."""
    done = subprocess.run([RFA_PROCESS, *map(str, args)], capture_output=True, text=True,
                          check=False)
    return done.returncode, done.stderr


def same_bits(a, b):
    return a.shape == b.shape and np.array_equal(a.view(np.uint32), b.view(np.uint32))


@pytest.fixture(scope="session")
def params():
    return rfabg.Parameters.read(str(SAMPLES / "default.rfa_bg"))


@pytest.fixture(scope="session")
def sample():
    return rfabg.read_image(str(SAMPLES / "sample-1.tif"))
