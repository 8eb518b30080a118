"""The arithmetic of the tables: medians of ratios, which side of a bound is met, and how numbers are shown."""

import unittest

from figures import Goal, as_json, columns, judge, number, record


def some_figures() -> dict:
    figures = {}
    for bench, base in ((30, 10), (8, 4), (10, 10)):
        record(figures, "cost", "ns", "3 pairs", bench, base, "floor")
    return figures


class FiguresTest(unittest.TestCase):
    def test_the_median_of_ratios_is_not_the_ratio_of_medians(self):
        self.assertEqual(judge(Goal("work", "cost", "ratio", True, 2), some_figures()).reached, 2)

    def test_a_difference_is_taken_pair_by_pair(self):
        self.assertEqual(judge(Goal("work", "cost", "difference", True, 2), some_figures()).reached, 4)

    def test_a_bench_value_is_scaled_before_it_is_compared(self):
        verdict = judge(Goal("work", "cost", "bench", True, 0.01, scale=1e-3), some_figures())
        self.assertEqual((verdict.reached, verdict.met), (0.01, True))

    def test_a_bound_is_met_from_its_own_side_only(self):
        figures = some_figures()
        self.assertFalse(judge(Goal("work", "cost", "ratio", True, 1.9), figures).met)
        self.assertTrue(judge(Goal("work", "cost", "ratio", False, 1.9), figures).met)

    def test_numbers_keep_about_four_digits(self):
        self.assertEqual([number(value) for value in (1.15, 99.9994, 224, -812.34, 61_483_827)],
                         ["1.150", "99.999", "224.0", "-812.3", "61,483,827"])

    def test_columns_are_as_wide_as_their_widest_cell(self):
        self.assertEqual(columns([["a", "b"], ["long", "x"]]), "a     b\n----  -\nlong  x")

    def test_json_leaves_goals_of_a_quick_run_unjudged(self):
        figures = some_figures()
        verdict = judge(Goal("work", "cost", "ratio", True, 2), figures)
        self.assertIsNone(as_json(figures, [verdict], False)["goals"][0]["met"])
        self.assertTrue(as_json(figures, [verdict], True)["goals"][0]["met"])


if __name__ == "__main__":
    unittest.main()
