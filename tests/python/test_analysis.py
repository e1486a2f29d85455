"""Screen finding and angular maps: the module gives what rfa-process writes, bit for bit."""
import json

import numpy as np
import pytest

import rfabg
from conftest import SAMPLES, run_rfa_process, same_bits


@pytest.fixture(scope="module")
def cli_analysis(tmp_path_factory):
    out = tmp_path_factory.mktemp("analysis")
    status, err = run_rfa_process("-p", SAMPLES / "default.rfa_bg", "--find-screen", "image",
                                  "--angular-map", "2", "-o", out, SAMPLES / "sample-1.tif")
    assert status == 0, err
    return out


def test_find_screen(cli_analysis, sample):
    found = rfabg.find_screen(sample)
    recorded = json.loads((cli_analysis / "sample-1.json").read_text())["results"]
    assert (found["cx"], found["cy"], found["r"]) == (
        recorded["ScreenX"], recorded["ScreenY"], recorded["ScreenR"])
    # The samples' screen is centred at (120, 134) with radius 100.
    assert abs(found["cx"] - 120) < 0.25 and abs(found["cy"] - 134) < 0.25
    assert abs(found["r"] - 100) < 0.5
    with pytest.raises(rfabg.ZrError,
                       match="^Find screen: no screen found: the image has no bright region$"):
        rfabg.find_screen(np.zeros((64, 64), np.float32))


def test_angular_maps(cli_analysis, params, sample):
    found = rfabg.find_screen(sample)
    used = params.copy()
    used["Sx_"], used["Sy_"], used["Sr_"] = found["cx"], found["cy"], found["r"]
    result = rfabg.process(sample, used)["image"]
    angular = rfabg.angular_map(result, used, 2)
    assert same_bits(angular["image"],
                     rfabg.read_image(str(cli_analysis / "sample-1.angular.tif")))
    assert angular["image"].shape == (len(angular["theta_deg"]), len(angular["phi_deg"])) == (46, 180)
    stereo = rfabg.stereographic_map(result, used, 2)
    assert same_bits(stereo["image"], rfabg.read_image(str(cli_analysis / "sample-1.stereo.tif")))
    side = stereo["image"].shape[0]
    assert stereo["pole"] == ((side - 1) / 2, (side - 1) / 2)
    with pytest.raises(rfabg.ZrError, match="^Angular map: the step must be a number of degrees "
                                            "above 0 and at most 90, not 0$"):
        rfabg.angular_map(result, used, 0)
