"""The module against rfa-process, bit for bit, and its refusals of bad input."""
import pickle
import threading
import time

import h5py
import numpy as np
import pytest

import rfabg
from conftest import SAMPLES, run_rfa_process, same_bits


@pytest.fixture(scope="module")
def cli_results(tmp_path_factory, params):
    out = tmp_path_factory.mktemp("cli")
    status, err = run_rfa_process("-p", SAMPLES / "default.rfa_bg", "-o", out, SAMPLES)
    assert status == 0, err
    return out


@pytest.mark.parametrize("index", [1, 2, 3])
def test_process_equals_rfa_process(cli_results, params, index):
    result = rfabg.process(rfabg.read_image(str(SAMPLES / f"sample-{index}.tif")), params)
    keys = rfabg.read_keys(str(cli_results / f"sample-{index}.keys.xml"))
    # rfa-process adds where the file came from (the "Provenance" group); the rest is the chain's.
    for kind in ("doubles", "texts"):
        keys[kind] = {k: v for k, v in keys[kind].items() if not k.startswith("Provenance/")}
    assert same_bits(result["image"], rfabg.read_image(str(cli_results / f"sample-{index}.tif")))
    assert result["doubles"] == keys["doubles"]
    # The log names the program that made the result; everything else is the same text.
    assert result["texts"]["log"].count("<name>rfabg</name>") == 1
    texts = dict(result["texts"], log=result["texts"]["log"].replace("rfabg", "rfa-process"))
    assert texts == keys["texts"]


def test_single_operations_make_the_chain(params, sample):
    # Every position its own value, so that no field can stand in for another.
    params = rfabg.Parameters.read(str(SAMPLES / "default.rfa_bg"))
    for key, value in {"Ax_": 127, "Ay_": 129.5, "MaskCx_": 126, "MaskCy_": 131, "MaskRx_": 95,
                       "MaskRy_": 90, "McpDipR_": 8}.items():
        params[key] = value
    image = rfabg.move_to_center(sample, params)
    image = rfabg.divide(image, rfabg.sh_background(image, params))
    image = rfabg.divide(image, rfabg.azimuthal_background(image, params))
    image = rfabg.mask_mcp_dip(image, params)
    image = rfabg.mask_outside(image, params)
    assert same_bits(image, rfabg.process(sample, params)["image"])
    # The forms with explicit numbers take the same values.
    p = params
    explicit = rfabg.move_to_center(sample, p["Sx_"], p["Sy_"])
    explicit = rfabg.divide(explicit, rfabg.sh_background(explicit, p))
    explicit = rfabg.divide(explicit, rfabg.azimuthal_background(explicit, p["Ax_"], p["Ay_"]))
    explicit = rfabg.mask_mcp_dip(explicit, p["McpDipCx_"], p["McpDipCy_"], p["McpDipR_"])
    explicit = rfabg.mask_outside(explicit, p["MaskCx_"], p["MaskCy_"], p["MaskRx_"],
                                  p["MaskRy_"])
    assert same_bits(explicit, image)


def test_input_is_left_alone_and_any_layout_is_read(params, sample):
    before = sample.copy()
    flipped = np.ascontiguousarray(sample[::-1, ::-1])
    view = flipped[::-1, ::-1]  # the sample's pixels through negative strides
    assert same_bits(rfabg.process(view, params)["image"], rfabg.process(sample, params)["image"])
    rfabg.mask_outside(sample, params)
    assert same_bits(sample, before)


def test_stacks_in_rfa_process_equal_the_module_on_each_frame(tmp_path, params):
    frames = np.stack([rfabg.read_image(str(SAMPLES / f"sample-{i % 3 + 1}.tif")) * (1 + i)
                       for i in range(11)])
    frames16 = np.clip(frames, 0, 65535).astype(np.uint16)
    with h5py.File(tmp_path / "run.h5", "w") as f:
        f.create_dataset("/entry/data/data", data=frames16, chunks=(1, 256, 256),
                         compression="gzip")
    np.save(tmp_path / "run64.npy", frames.astype(np.float64))
    out = tmp_path / "out"
    status, err = run_rfa_process("-p", SAMPLES / "default.rfa_bg", "--frames", "8:11", "-o", out,
                                  tmp_path / "run.h5", tmp_path / "run64.npy")
    assert status == 0, err
    assert sorted(p.name for p in out.glob("*.tif")) == [
        "run64_08.tif", "run64_09.tif", "run64_10.tif", "run_08.tif", "run_09.tif", "run_10.tif"]
    for i in range(8, 11):
        expected = rfabg.process(frames16[i].astype(np.float32), params)["image"]
        assert same_bits(rfabg.read_image(str(out / f"run_{i:02}.tif")), expected)
        expected = rfabg.process(frames[i].astype(np.float64).astype(np.float32), params)["image"]
        assert same_bits(rfabg.read_image(str(out / f"run64_{i:02}.tif")), expected)


NAN_IMAGE = np.ones((4, 5), np.float32)
NAN_IMAGE[2, 3] = NAN_IMAGE[3, 0] = np.nan


@pytest.mark.parametrize("call, message", [
    (lambda p: rfabg.process(np.ones((4, 4)), p),
     "image must be float32, not float64: convert it with image.astype(numpy.float32)"),
    (lambda p: rfabg.process(np.ones((4, 4), ">f4"), p),
     "image must be float32, not >f4: convert it with image.astype(numpy.float32)"),
    (lambda p: rfabg.process(np.ones((2, 4, 4), np.float32), p),
     "image must be 2-D (rows, columns), not 3-D: process the frames of a stack one at a time"),
    (lambda p: rfabg.process(np.ones(4, np.float32), p), "image must be 2-D (rows, columns), not 1-D"),
    (lambda p: rfabg.process([[1.0]], p), "image must be a numpy array of float32, not list"),
    (lambda p: rfabg.divide(np.ones((4, 4), np.float32), np.ones((4, 4), np.int32)),
     "background must be float32, not int32: convert it with background.astype(numpy.float32)"),
    (lambda p: rfabg.divide(np.ones((4, 4), np.float32), np.ones((4, 5), np.float32)),
     "ColSize or RowSize is different"),
    (lambda p: rfabg.process(NAN_IMAGE, p, nan="raise"),
     "image holds 2 NaN pixels, the first at (x, y) = (3, 2)"),
    (lambda p: rfabg.process(NAN_IMAGE, p, nan="drop"),
     'nan must be "zero", "raise" or "keep", not "drop"'),
    (lambda p: rfabg.sh_background(np.ones((32, 32), np.float32), p),
     "Matrix over range. access=(-79,-79) size=(32,32) begin=(0,0)FastReturn=false"),
    (lambda p: rfabg.move_to_center(np.ones((4, 4), np.float32), np.inf, 0),
     "Move to center: screen centre is not a finite number"),
    (lambda p: rfabg.Parameters.read("/nonexistent.rfa_bg"), "/nonexistent.rfa_bg: Cannot File Open"),
    (lambda p: rfabg.Parameters(Sx_="12x"), 'parameter Sx_ needs a number, not "12x"'),
    (lambda p: rfabg.Parameters(Size_l_=2.5), 'parameter Size_l_ needs a whole number, not "2.5"'),
    (lambda p: rfabg.Parameters(Size_l_=2**70),
     'parameter Size_l_ needs a whole number, not "1180591620717411303424"'),
    (lambda p: rfabg.Parameters(IsBgSh_=2), 'parameter IsBgSh_ needs true or false, not "2"'),
    (lambda p: rfabg.Parameters(Sr_=float("nan")), 'parameter Sr_ needs a number, not "nan"'),
    (lambda p: rfabg.Parameters(Bogus=1), 'unknown parameter key "Bogus"'),
    (lambda p: rfabg.Parameters(Sx_=[1]), "parameter Sx_ takes a number, a bool or a text, not list"),
])
def test_refusals_carry_the_system_text(params, call, message):
    with pytest.raises(rfabg.ZrError) as caught:
        call(params)
    assert str(caught.value) == message


def test_nan_pixels_are_holes_unless_kept(params, sample):
    holed = sample.copy()
    holed[100:104, 50:90] = np.nan
    zeroed = np.nan_to_num(holed, nan=0.0)
    assert same_bits(rfabg.process(holed, params)["image"], rfabg.process(zeroed, params)["image"])
    assert np.isnan(holed[100, 50])  # the caller's array keeps its NaN
    # Passed on as they are, the backgrounds still take them for holes, and the pixels
    # themselves travel on as NaN.
    assert same_bits(rfabg.sh_background(holed, params, nan="keep"),
                     rfabg.sh_background(zeroed, params))
    assert np.isnan(rfabg.move_to_center(holed, params, nan="keep")).sum() == 160


def test_parameters_by_file_key(tmp_path, params):
    assert list(params) == [
        "Sx_", "Sy_", "Sr_", "SMargin_", "MappingIsGnomonic_", "MappingIsAz_",
        "MappingAzThetaMax_deg_", "Size_l_", "Ax_", "Ay_", "AdjThres_", "AdjSize_",
        "UseAllSphere_", "IsShowTmp_", "McpDipCx_", "McpDipCy_", "McpDipR_", "MaskCx_",
        "MaskCy_", "MaskRx_", "MaskRy_", "IsMoveCenter_", "IsBgSh_", "IsBgAz_", "IsMaskMcpDip_",
        "IsMaskOutside_"]
    p = params.copy()
    p["Sx"] = 120.25  # the trailing "_" may be left out, as with --set
    p["Size_l_"] = np.int64(4)
    p["IsBgAz_"] = np.bool_(False)
    p["McpDipR_"] = "12.5"
    assert (p["Sx_"], p["Size_l_"], p["IsBgAz_"], p["McpDipR_"]) == (120.25, 4, False, 12.5)
    assert type(p["Size_l_"]) is int and type(p["IsBgAz_"]) is bool
    assert params["Sx_"] == 120.0  # copies are separate
    p.write(str(tmp_path / "p.rfa_bg"))
    assert rfabg.Parameters.read(str(tmp_path / "p.rfa_bg")).to_dict() == p.to_dict()
    assert pickle.loads(pickle.dumps(p)).to_dict() == p.to_dict()


def test_numbers_mean_what_the_same_text_means_to_rfa_process(tmp_path, params, sample):
    # 85.3 is not a long double; the field must hold what "85.3" gives on the command line,
    # and a pickled copy must keep that value to the last bit.
    p = params.copy()
    p["MappingAzThetaMax_deg_"] = 85.3
    rfabg.write_image(str(tmp_path / "s.npy"), sample)
    status, err = run_rfa_process("-p", SAMPLES / "default.rfa_bg", "--set",
                                  "MappingAzThetaMax_deg_=85.3", "-o", tmp_path / "out",
                                  tmp_path / "s.npy")
    assert status == 0, err
    cli = rfabg.read_image(str(tmp_path / "out" / "s.tif"))
    assert same_bits(rfabg.process(sample, p)["image"], cli)
    assert same_bits(rfabg.process(sample, pickle.loads(pickle.dumps(p)))["image"], cli)
    # The field itself, through the exact text a pickle carries (numpy's longdouble is the
    # same 80-bit type here).
    texts = dict(pickle.loads(pickle.dumps(p)).__getstate__())
    assert np.longdouble(texts["MappingAzThetaMax_deg_"]) == np.longdouble("85.3")
    p["MappingAzThetaMax_deg_"] = "85.30000000000000005"  # beyond a double's digits
    texts = dict(pickle.loads(pickle.dumps(p)).__getstate__())
    assert np.longdouble(texts["MappingAzThetaMax_deg_"]) == np.longdouble("85.30000000000000005")


def test_the_chain_lets_other_threads_run(params, sample):
    slow = params.copy()
    slow["Size_l_"] = 9  # a fit of some tenths of a second
    ticks = []
    done = threading.Event()

    def count():
        while not done.is_set():
            ticks.append(time.perf_counter())
            time.sleep(0.0005)  # needs the GIL back to wake up

    counter = threading.Thread(target=count)
    counter.start()
    try:
        start = time.perf_counter()
        rfabg.process(sample, slow)
        end = time.perf_counter()
    finally:
        done.set()
        counter.join()
    # Holding the GIL for the whole call would leave no tick in its middle half (the counter
    # can run only around the call's start and end).
    quarter = (end - start) / 4
    assert len([t for t in ticks if start + quarter < t < end - quarter]) >= 3
