# use_module.py RECORDING DIRECTORY: the Python module, installed, and the libqom of DIRECTORY
import os
import sys

import qom

with qom.open(sys.argv[1]) as rec:
    print(rec, rec.at(rec.duration).shape, rec.texts(0))
with open("/proc/self/maps", encoding="ascii") as lines:
    libraries = {line.split()[-1] for line in lines if "/libqom.so" in line}
assert libraries and all(os.path.dirname(path) == os.path.realpath(sys.argv[2])
                         for path in libraries), libraries
assert os.path.exists(os.path.join(os.path.dirname(qom.__file__), "py.typed"))
