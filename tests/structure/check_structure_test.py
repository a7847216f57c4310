"""The structure check finds each kind of fault, in a small tree made for it."""

import os
import subprocess
import sys
import tempfile
import unittest

CHECK = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "scripts", "check-structure")

SOUND = {
    "CMakeLists.txt": "project(sps VERSION 4.3.1900 LANGUAGES CXX)\n",
    "docs/architecture.md": """| Folder | Depends on |
|---|---|
| `docs/` | |
| `src/` | `platform/store/` |
| `platform/` | |
| `platform/base/` | `POSIX` |
| `platform/store/` | `platform/base/`, `lmdb` |
""",
    "platform/README.md": """| Room | Public headers |
|---|---|
| `base/` | `base.h` |
| `store/` | `store.h` |
""",
    "src/client.h": '#include "platform/store/store.h"\n',
    "src/client.cpp": '#include "src/client.h"\n#include <vector>\n',
    "platform/base/base.h": "#include <unistd.h>\n",
    "platform/store/store.h": '#include "platform/base/base.h"\n',
    "platform/store/inner.h": "#include <lmdb.h>\n",
}


def check(changes):
    with tempfile.TemporaryDirectory() as root:
        for name, text in {**SOUND, **changes}.items():
            path = os.path.join(root, name)
            os.makedirs(os.path.dirname(path), exist_ok=True)
            with open(path, "w", encoding="utf-8") as file:
                file.write(text)
        return subprocess.run([sys.executable, CHECK, root], capture_output=True, text=True)


class CheckStructure(unittest.TestCase):
    def test_sound_tree_passes(self):
        result = check({})
        self.assertEqual(result.returncode, 0, result.stdout)

    def test_each_fault_is_named(self):
        faults = {
            "upward include": ({"platform/base/base.h": '#include "src/client.h"\n'}, "must not include src/client.h"),
            "private header": ({"src/client.cpp": '#include "platform/store/inner.h"\n'}, "is private to platform/store/"),
            "undeclared arrow": ({"src/client.cpp": '#include "platform/base/base.h"\n'}, "does not name platform/base/"),
            "foreign library": ({"src/client.cpp": "#include <lmdb.h>\n"}, "of lmdb does not belong into src/"),
            "system header": ({"src/client.cpp": "#include <unistd.h>\n"}, "keeps to the standard library"),
            "unknown header": ({"src/client.cpp": '#include "src/none.h"\n'}, "is no header of this repository"),
            "installed header": ({"src/client.cpp": "#include <sps/spc.h>\n"}, "users of an installed library"),
            "include cycle": ({"src/client.h": '#include "src/b.h"\n', "src/b.h": '#include "client.h"\n'}, "include cycle"),
            "dependency cycle": ({"docs/architecture.md": SOUND["docs/architecture.md"].replace("`POSIX`", "`src/`")},
                                 "dependency cycle"),
            "unlisted folder": ({"extra/file": ""}, "lacks extra/"),
            "vanished folder": ({"docs/architecture.md": SOUND["docs/architecture.md"] + "| `gone/` | |\n"}, "lists gone/"),
            "vanished header": ({"platform/README.md": "| `store/` | `gone.h` |\n"}, "lists platform/store/gone.h"),
            "long file": ({"src/long.h": "\n" * 701}, "701 lines"),
            "stale program": ({"examples/hello/hello.cpp": "int main() {}\n", "README.md": "int main() { return 0; }\n"},
                              "does not show examples/hello/hello.cpp"),
            "version in code": ({"src/client.cpp": "// 4.3.1900\n"}, "repeats the version"),
            "old version": ({"docs/use.md": "version 4.3.1899\n"}, "says version 4.3.1899"),
        }
        for name, (changes, message) in faults.items():
            with self.subTest(name):
                result = check(changes)
                self.assertEqual(result.returncode, 1, result.stdout)
                self.assertIn(message, result.stdout)


if __name__ == "__main__":
    unittest.main()
