# SPDX-License-Identifier: MIT
# The type stubs describe what the module has: every public name, and
# every public method and attribute of each class, so that an editor
# completes what exists and nothing else.
import ast
import pathlib

import korv

STUBS = pathlib.Path(korv.__file__).with_name("__init__.pyi")


def stub_classes():
    tree = ast.parse(STUBS.read_text())
    classes = {}
    for node in tree.body:
        if isinstance(node, ast.ClassDef):
            names = set()
            for item in node.body:
                if isinstance(item, (ast.FunctionDef, ast.AnnAssign)):
                    names.add(item.name if isinstance(item, ast.FunctionDef) else item.target.id)
            bases = [b.id for b in node.bases if isinstance(b, ast.Name)]
            classes[node.name] = (names, bases)
    return classes


def members(classes, name):
    names, bases = classes[name]
    for base in bases:
        if base in classes:
            names = names | members(classes, base)
    return names


def test_stubs_name_every_public_class():
    classes = stub_classes()
    public = {n for n in korv.__all__ if n != "__version__"}
    assert public <= set(classes)


def test_stubs_declare_every_public_member():
    classes = stub_classes()
    for name in korv.__all__:
        runtime = getattr(korv, name)
        if not isinstance(runtime, type) or issubclass(runtime, Exception):
            continue
        declared = members(classes, name)
        public = {m for m in dir(runtime) if not m.startswith("_")}
        assert public <= declared, f"{name}: {sorted(public - declared)} missing from {STUBS.name}"
        # And nothing is declared that is not there.
        declared_public = {m for m in declared if not m.startswith("_")}
        assert declared_public <= public, f"{name}: {sorted(declared_public - public)} only in {STUBS.name}"
