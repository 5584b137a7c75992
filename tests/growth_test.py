"""Loading takes a time that grows with a document's size, not with its square, whatever it has many of."""

import resource
import unittest

from zrk_program import PATIENCE, SPHERE, ZrkTest, graph


def members(count):
    return {f"member {i}": i for i in range(count)}


def spline(number, points):
    return {"uuid": f"{number:08x}-0000-4000-8000-000000000000", "kind": "geometry", "shape": "spline",
            "points": [[i, i % 7, 0] for i in range(points)], "closed": False}


def inverts(count, link):
    """A sphere and many nodes, each linked to what link(k) names."""
    nodes = [SPHERE] + [{"id": k, "type": "ZRKInvert"} for k in range(2, count + 2)]
    return graph(nodes, [(link(k), 0, k, 0) for k in range(2, count + 2)])


class Growth(ZrkTest):
    # How many take some tenths of a second, and the document with so many.
    DOCUMENTS = {
        "members of the document": (20_000, lambda n: graph([SPHERE], **members(n))),
        "members of an object within": (20_000, lambda n: graph([{**SPHERE, "note": [members(n)]}])),
        "values that nobody reads": (10_000, lambda n: graph([{**SPHERE, "values": members(n)}])),
        "numbers in an array": (200_000, lambda n: graph([{**SPHERE, "note": list(range(n))}])),
        "nodes": (10_000, lambda n: graph([{"id": k, "type": "SphereSDF"} for k in range(n)])),
        "nodes that are warned of": (10_000, lambda n: graph([{"id": k, "type": "SphereSDF", "values": {"raduis": 1}}
                                                              for k in range(n)])),
        "links in a row": (10_000, lambda n: inverts(n, lambda k: k - 1)),
        "links from one node": (10_000, lambda n: inverts(n, lambda k: 1)),
        "resources": (10_000, lambda n: graph([SPHERE], resources=[spline(k, 2) for k in range(n)])),
        "points of a spline": (20_000, lambda n: graph([SPHERE], resources=[spline(0, n)])),
        "waves": (10_000, lambda n: graph([{"id": 1, "type": "PatternDesigner", "values": {
            "waves": [{"frequency": [1, k, 0], "amplitude": 1, "phase": 0} for k in range(n)]}}])),
    }

    def seconds(self, document):
        """Of processor time."""
        path = self.put(document)
        before = resource.getrusage(resource.RUSAGE_CHILDREN)
        self.succeed("check", path, seconds=60)
        after = resource.getrusage(resource.RUSAGE_CHILDREN)
        return after.ru_utime + after.ru_stime - before.ru_utime - before.ru_stime

    def test_is_linear(self):
        for many, (count, document) in self.DOCUMENTS.items():
            with self.subTest(many=many):
                small = self.seconds(document(count))
                large = self.seconds(document(4 * count))
                # Four times as much, and twice that for caches and a machine that does something else.
                self.assertLess(large, 8 * small + 0.1 * PATIENCE, f"{count} of them take {small:.2f} s")


if __name__ == "__main__":
    unittest.main()
