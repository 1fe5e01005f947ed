#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Shows each of the repository's checks a clean tree and planted violations.

    run_checks.py ROOT
"""
import pathlib
import shutil
import subprocess
import sys
import tempfile

ROOT = pathlib.Path(sys.argv[1])
LONG_FUNCTION = "namespace idlewyn {\nint f(int x) {\n" + "  ++x;\n" * 70 + "  return x;\n}\n}\n"

# (check, file, content, what its report must say; None where the tree must pass)
PLANTED = [
    ("layers", "IdlewynKit/model/Clean.cpp", "#include <IdlewynKit/platform/base/Date.hpp>\n", None),
    ("layers", "IdlewynKit/model/Up.cpp", "#include <IdlewynKit/relay/Connection.hpp>\n",
     "model may not include <IdlewynKit/relay/Connection.hpp>"),
    ("layers", "IdlewynKit/platform/base/Up.hpp", '#include <IdlewynKit/model/AgentSession.hpp>\n',
     "platform/base may not include"),
    ("layers", "IdlewynKit/news/Other.hpp", "#include <vector>\n#include <IdlewynKit/Export.hpp>\n",
     "not in the include table"),
    ("layers", "IdlewynKit/relay/Leak.cpp", "#include <curl/curl.h>\n", "<curl/curl.h> is fenced"),
    ("layers", "IdlewynKit/platform/net/Leak.hpp", "#include <openssl/ssl.h>\n", "is fenced"),
    ("layers", "IdlewynKit/model/Leak.cpp", "#  include <simdjson.h>\n", "is fenced"),
    ("layers", "IdlewynKit/model/New.cpp", "#include <sys/stat.h>\n#include <zlib.h>\n",
     "<zlib.h> has no row"),
    ("layers", "IdlewynKit/model/Up.cpp", '#include "../relay/Connection.hpp"\n', "write the whole path"),
    ("layers", "IdlewynKit/Root.hpp", "#include <IdlewynKit/relay/Connection.hpp>\n",
     "not in the include table"),
    ("layers", "tools/idlewyn/Leak.cpp", "#include <IdlewynKit/relay/internal/Perform.hpp>\n",
     "tools/idlewyn/Leak.cpp: its folder is not in the include table"),
    ("layers", "tools/idlewyn/watch/Leak.cpp", "#include <IdlewynKit/relay/internal/Perform.hpp>\n",
     "is internal to IdlewynKit/relay"),
    ("layers", "tools/sandbox-relay/Up.cpp", "#include <tools/idlewyn/terminal/Table.hpp>\n",
     "tools/sandbox-relay may not include <tools/idlewyn/terminal/Table.hpp>"),
    ("layers", "tools/idlewyn/watch/Heavy.cpp", "#include <IdlewynKit/UI.hpp>\n", "is fenced to"),
    ("layers", "tools/idlewyn/terminal/Heavy.hpp", "#include <IdlewynKit/ui/SessionRow.hpp>\n",
     "may not include"),
    ("layers", "tools/idlewyn/render/Renderer.cpp", "#include <IdlewynKit/UI.hpp>\n", None),
    ("layers", "tools/idlewyn/records/Up.hpp", "#include <tools/idlewyn/pairings/ConnectionList.hpp>\n",
     "tools/idlewyn/records may not include"),
    ("layers", "IdlewynKit/storage/Leak.cpp",
     "#include <IdlewynKit/platform/secrets/internal/FileKeychain.hpp>\n",
     "is internal to IdlewynKit/platform/secrets"),
    ("layers", "IdlewynKit/ui/Leak.cpp",
     "#include <IdlewynKit/platform/view/internal/paint/NightFilter.hpp>\n",
     "is internal to IdlewynKit/platform/view"),
    ("layers", "IdlewynKit/gtk/Leak.cpp",
     "#include <IdlewynKit/platform/view/internal/layout/Box.hpp>\n",
     "is internal to IdlewynKit/platform/view"),
    ("layers", "IdlewynKit/platform/view/internal/text/Up.hpp",
     "#include <IdlewynKit/platform/view/internal/paint/NightFilter.hpp>\n", "may not include"),
    ("layers", "IdlewynKit/platform/coding/JSON.hpp", "#include <simdjson.h>\n", "is fenced to"),
    ("layers", "IdlewynKit/platform/coding/Table.inc", "#include <simdjson.h>\n", "is fenced to"),
    ("layers", "IdlewynKit/relay/Old.h", "#include <IdlewynKit/storage/AppGroup.hpp>\n",
     "relay may not include"),
    ("layers", "IdlewynKit/relay/Up.cpp", "#include <IdlewynKit/push/PushGatewayClient.hpp>\n",
     "relay may not include"),
    ("layers", "tests/model/Heavy.cpp", "#include <gtk/gtk.h>\n", "is fenced to"),
    ("sizes", "IdlewynKit/model/Long.cpp", "// line\n" * 401, "Long.cpp: 401 lines"),
    ("sizes", "IdlewynKit/model/Long.cpp", "// line\n" * 400, None),
    ("sizes", "IdlewynKit/model/Wide.hpp", "\n#include <vector>" * 11, "Wide.hpp: 11 includes"),
    ("sizes", "tools/idlewyn/Function.cpp", LONG_FUNCTION, "Function.cpp:f: 73 lines"),
    ("sizes", "tools/dev/size-exceptions.txt", "tests/Gone.cpp because\n",
     "Gone.cpp: listed as an exception"),
]


def report(check, root):
    command = [sys.executable, str(ROOT / f"tools/dev/check_{check}.py"), str(root)]
    done = subprocess.run(command, capture_output=True, text=True)
    return done.returncode, done.stdout + done.stderr


def failures():
    for check, name, content, expected in PLANTED:
        with tempfile.TemporaryDirectory() as scratch:
            tree = pathlib.Path(scratch)
            shutil.copy(ROOT / "ARCHITECTURE.md", tree)
            (tree / name).parent.mkdir(parents=True)
            (tree / name).write_text(content)
            status, text = report(check, tree)
        wrong = status != 0 if expected is None else status != 1 or expected not in text
        if wrong:
            yield f"{check}, planted {name}: expected {expected!r}, got {status}: {text}"


def main():
    found = list(failures())
    print("\n".join(found) or f"{len(PLANTED)} planted trees judged as they should be")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
