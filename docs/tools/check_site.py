"""Follows every link and picture of the built site: the file must be there, and so must the place
in it; nothing may be fetched from the network.

    python3 docs/tools/check_site.py SITE
"""

import sys
from html.parser import HTMLParser
from pathlib import Path
from urllib.parse import unquote, urlsplit

LOADED = {("script", "src"), ("img", "src"), ("link", "href")}


class Page(HTMLParser):
    def __init__(self, path):
        super().__init__()
        self.places, self.links = set(), []
        self.feed(path.read_text())

    def handle_starttag(self, tag, attributes):
        for name, value in attributes:
            if name in ("id", "name"):
                self.places.add(value)
            elif name in ("href", "src"):
                self.links.append((value, (tag, name) in LOADED))


def main(site):
    pages = {path: Page(path) for path in site.rglob("*.html")}
    faults = []
    for path, page in pages.items():
        for link, loaded in page.links:
            parts = urlsplit(link or "")
            if parts.scheme in ("http", "https") or parts.netloc:
                if loaded:
                    faults.append(f"{path.name} loads {link}")
                continue
            if parts.scheme:
                continue
            base = site if parts.path.startswith("/") else path.parent
            target = (base / unquote(parts.path).lstrip("/")).resolve() if parts.path else path
            target = target / "index.html" if target.is_dir() else target
            if not target.exists():
                faults.append(f"{path.name}: nothing at {link}")
            elif parts.fragment and target in pages and parts.fragment not in pages[target].places:
                faults.append(f"{path.name}: no such place: {link}")
    print("\n".join(sorted(set(faults))) or f"{len(pages)} pages, every link leads somewhere")
    return bool(faults)


if __name__ == "__main__":
    sys.exit(main(Path(sys.argv[1]).resolve()))
