# SPDX-License-Identifier: Apache-2.0
"""Rules that the page keeps for everybody, checked in the browser."""
from pathlib import Path

from selenium.webdriver.common.action_chains import ActionChains
from selenium.webdriver.common.keys import Keys

RULES = (Path(__file__).parent / "accessibility.js").read_text(encoding="utf-8")
# Roles whose elements people use or are read, so that they need a name.
NAMED = {"button", "textbox", "link", "checkbox", "meter", "progressindicator", "progressbar", "image", "img", "region",
         "DisclosureTriangle", "heading"}


def faults(browser):
    """What is wrong with the page as it is now."""
    found = list(browser.run(RULES))
    nodes = browser.driver.execute_cdp_cmd("Accessibility.getFullAXTree", {})["nodes"]
    named = [node for node in nodes if not node["ignored"] and node["role"]["value"] in NAMED]
    found += [f"a {node['role']['value']} without a name" for node in named if not node.get("name", {}).get("value")]
    if len(named) < 5:
        found.append(f"only {len(named)} elements with roles were looked at")
    return found


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
