# SPDX-License-Identifier: Apache-2.0
"""Rules that the page keeps for everybody, checked in the browser."""
import os
from pathlib import Path

from selenium.webdriver.common.action_chains import ActionChains
from selenium.webdriver.common.keys import Keys

AXE = Path(os.environ.get("TARN_AXE", "axe.min.js"))  # scripts/install-dependencies test installs it
# WCAG 2 up to AA and good practice; some of these rules are off unless they are named.
OPTIONS = {
    "runOnly": ["wcag2a", "wcag2aa", "wcag21a", "wcag21aa", "wcag22a", "wcag22aa", "wcag2a-obsolete", "best-practice"],
    "rules": {rule: {"enabled": True} for rule in ("target-size", "duplicate-id", "duplicate-id-active")},
}
CHECK = """const {violations, incomplete, passes} = await axe.run(document, given[0]);
const faults = [...violations, ...incomplete].flatMap(({id, nodes}) => nodes.map((node) => {
  const reasons = [...node.any, ...node.all, ...node.none].map(({message}) => message);
  return `${id}: ${node.html}: ${reasons.join('; ')}`;
}));
return passes.length < 20 ? [...faults, `only ${passes.length} rules apply`] : faults;"""


def faults(browser):
    """What breaks a rule on the page as it is now, or may do so."""
    if not browser.run("return 'axe' in window"):
        browser.run(AXE.read_text(encoding="utf-8"))
    return browser.run_async(CHECK, OPTIONS) + unnamed(browser)


def unnamed(browser):
    """Meters and bars of progress without a name: axe looks at their roles only, not at the elements."""
    shown = [each for each in browser.all("meter, progress") if each.is_displayed()]
    return [f"a {each.tag_name} without a name" for each in shown if not each.accessible_name]


def is_wider_than_the_screen(browser):
    return browser.run("return document.documentElement.scrollWidth > innerWidth "
                       "? `${document.documentElement.scrollWidth} of ${innerWidth} pixels` : ''")


def press(browser, *keys):
    """Presses keys, whatever has the focus."""
    for key in keys:
        ActionChains(browser.driver).send_keys(key).perform()


def tab_order(browser, limit=30):
    """The ids, or else the names, of what the tabulator reaches from the first on, each with how its focus is shown."""
    order = []
    browser.run("document.querySelector('.skip').focus({focusVisible: true})")
    for _ in range(limit):
        at = browser.run("""const at = document.activeElement;
            if (at === document.body) return null;
            const {outlineStyle, outlineWidth} = getComputedStyle(at);
            return {id: at.id || at.className || at.localName, outline: `${outlineStyle} ${outlineWidth}`};""")
        if at is None or at in order:
            break
        order.append(at)
        press(browser, Keys.TAB)
    return order
