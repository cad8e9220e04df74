"""The report on test runs counts what ctest writes, and notices a corpus that was not used."""
import pathlib
import sys
import tempfile
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "scripts"))
import test_report  # noqa: E402  (found through the line above)

SKIPPED = "files_test.cpp:51: Skipped\nskipped: VELA_CORPUS is not set\n"


class Report(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.addCleanup(self.folder.cleanup)

    def file(self, *cases):
        """A JUnit file of ctest's form with (name, status, output) for each case."""
        path = pathlib.Path(self.folder.name) / "run.xml"
        path.write_text('<?xml version="1.0"?><testsuite name="Linux-c++">' + "".join(
            f'<testcase name="{name}" status="{status}"><system-out>{output}</system-out></testcase>'
            for name, status, output in cases) + "</testsuite>")
        return str(path)

    def test_passed_failed_and_skipped_tests_are_counted(self):
        file = self.file(("a", "run", ""), ("b", "fail", ""), ("c", "run", ""), ("d", "notrun", ""),
                         ("e", "disabled", ""))
        self.assertEqual(test_report.counts(file), (2, 1, 2))
        self.assertEqual(test_report.failures(file), ["b"])

    def test_a_corpus_that_was_used_is_no_problem(self):
        file = self.file(("Media/GoldenTags.AreTold/corpus_song", "run", ""), ("a", "notrun", ""))
        self.assertEqual(list(test_report.corpus_problems([file])), [])

    def test_a_test_that_was_skipped_without_the_corpus_is_noticed(self):
        file = self.file(("Corpus/CorpusFile.Ends/corpus_a", "run", ""),
                         ("Corpus/CorpusFile.Ends/corpus_b", "notrun", SKIPPED))
        self.assertEqual(len(list(test_report.corpus_problems([file]))), 1)

    def test_a_run_without_any_test_over_the_corpus_is_noticed(self):
        file = self.file(("a", "run", ""), ("own_sample", "run", ""))
        self.assertEqual(len(list(test_report.corpus_problems([file]))), 1)


if __name__ == "__main__":
    unittest.main()
