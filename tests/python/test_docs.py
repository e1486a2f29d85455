"""The examples of docs/python.md run as written, on the bundled samples."""
import re

from conftest import SOURCE


def test_examples_run(tmp_path, monkeypatch):
    text = (SOURCE / "docs" / "python.md").read_text()
    blocks = re.findall(r"```python\n(.*?)```", text, re.S)
    assert len(blocks) == 2
    # The examples run from the repository root; here from a folder that only links its tests.
    (tmp_path / "tests").symlink_to(SOURCE / "tests")
    monkeypatch.chdir(tmp_path)
    namespace = {}
    for block in blocks:
        exec(compile(block, "docs/python.md", "exec"), namespace)
    # The Dask example compared its 16 frames with the one-by-one run itself.
    assert namespace["series"].shape == (16, 256, 256)
    assert set(namespace["seconds"]) == {1, 2}
