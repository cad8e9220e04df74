"""The list of rooms notices what must not be included."""
import pathlib
import sys
import tempfile
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "scripts"))
import check_includes  # noqa: E402  (found through the line above)


class Rooms(unittest.TestCase):
    def problems(self, files):
        """What is said about a tree of files: name -> the header that it includes, or None."""
        with tempfile.TemporaryDirectory() as folder:
            root = pathlib.Path(folder)
            for name, included in files.items():
                (root / name).parent.mkdir(parents=True, exist_ok=True)
                (root / name).write_text(f'#include "{included}"\n' if included else "")
            return list(check_includes.problems(root))

    def assert_allowed(self, includer, included):
        self.assertEqual(self.problems({included: None, includer: included}), [])

    def assert_refused(self, includer, included):
        found = self.problems({included: None, includer: included})
        self.assertEqual(len(found), 1, found)
        self.assertIn(included, found[0])

    def test_an_include_down_the_list_is_allowed(self):
        self.assert_allowed("atomkit/core/movie/a.cpp", "atomkit/meta/timing/b.h")
        self.assert_allowed("atomkit/meta/tags/a.h", "hal/text/b.h")
        self.assert_allowed("hal/text/a.cpp", "hal/memory/b.h")
        self.assert_allowed("frontend/a.h", "atomkit/core/movie/b.h")
        self.assert_allowed("host/commands/a.cpp", "frontend/vela_splitter.h")

    def test_an_include_up_the_list_is_refused(self):
        self.assert_refused("atomkit/core/containers/a.h", "atomkit/core/streams/b.h")
        self.assert_refused("atomkit/core/tables/a.h", "atomkit/meta/codec/b.h")
        self.assert_refused("atomkit/meta/timing/a.cpp", "atomkit/core/movie/b.h")
        self.assert_refused("atomkit/meta/timing/a.cpp", "atomkit/meta/tags/b.h")
        self.assert_refused("atomkit/core/streams/a.h", "hal/text/b.h")
        self.assert_refused("hal/memory/a.h", "hal/containers/b.h")
        self.assert_refused("hal/streams/a.h", "hal/text/b.h")
        self.assert_refused("platform/a.cpp", "hal/memory/b.h")
        self.assert_refused("atomkit/core/movie/a.h", "frontend/b.h")

    def test_the_host_knows_the_public_header_only(self):
        self.assert_refused("host/a.cpp", "frontend/result.h")
        self.assert_refused("host/a.cpp", "atomkit/core/movie/movie.h")

    def test_the_public_header_stands_alone(self):
        self.assert_refused("frontend/vela_splitter.h", "frontend/result.h")

    def test_nothing_includes_the_tests(self):
        self.assert_refused("frontend/a.cpp", "tests/support/boxes.h")

    def test_a_folder_without_a_row_is_refused(self):
        self.assertEqual(len(self.problems({"atomkit/loose.cpp": None})), 1)

    def test_a_path_that_does_not_begin_at_the_root_is_refused(self):
        self.assertEqual(len(self.problems({"hal/text/a.cpp": "b.h", "hal/text/b.h": None})), 1)


if __name__ == "__main__":
    unittest.main()
