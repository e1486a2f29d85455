"""rfabg: the RFA background chain on float32 numpy images (see docs/python.md)."""
import os
import sys
import sysconfig


def _find_debian_packages():
    """Lets a second CPython of Debian's version use Debian's numpy, dask and h5py.

    scripts/install-deps.sh installs them (python3-numpy, ...) into Debian's dist-packages,
    which only Debian's own interpreter searches. Another CPython of the same major.minor
    version (pyenv, one built by hand) can load the same extension modules, so when it has no
    numpy of its own, that folder is appended to sys.path -- after the interpreter's own
    folders, so its own packages still come first.
    """
    try:
        import numpy  # noqa: F401
        return
    except ImportError:
        pass
    debian = "/usr/lib/python3/dist-packages"
    suffix = sysconfig.get_config_var("EXT_SUFFIX") or ""
    probe = os.path.join(debian, "numpy", "core", "_multiarray_umath" + suffix)
    if os.path.exists(probe) and debian not in sys.path:
        sys.path.append(debian)


_find_debian_packages()

from ._rfabg import *  # noqa: E402,F401,F403
from ._rfabg import __doc__  # noqa: E402,F401
