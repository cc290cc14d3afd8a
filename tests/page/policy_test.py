# SPDX-License-Identifier: Apache-2.0
"""What the policies of the page and of its worker forbid."""
from urllib.request import urlopen

from fixture import PageTest
from proxy import Proxy

# The shortest module of WebAssembly.
COMPILE = "WebAssembly.compile(new Uint8Array([0, 97, 115, 109, 1, 0, 0, 0]))"
# A worker that says which of these it may do.
PROBE = """
const other = new URL(location.href).searchParams.get('other');
const trials = {
  'WebAssembly': () => %s,
  'code from text': () => new Function('return 1')(),
  'script of elsewhere': () => import('data:text/javascript,1'),
  'request elsewhere': () => fetch(other, {mode: 'no-cors'}),
};
const may = [];
for (const [name, trial] of Object.entries(trials)) {
  try {
    await trial();
    may.push(name);
  } catch {}
}
postMessage(may);
""" % COMPILE


class Policy(PageTest):
    def policy_of(self, path):
        with urlopen(self.service.url + path) as answer:
            return answer.headers["Content-Security-Policy"]

    def test_the_document_runs_neither_inline_scripts_nor_code_from_text_nor_webassembly(self):
        # Later, in the page's own time: what the driver itself runs may do everything.
        done = self.browser.run_async("""return await new Promise((resolve) => setTimeout(async () => {
            const script = document.createElement('script');
            script.textContent = 'window.inline = true';
            document.body.append(script);
            let fromText = true;
            try { new Function('return 1')(); } catch { fromText = false; }
            let compiled = true;
            try { await %s; } catch { compiled = false; }
            const styled = document.createElement('p');
            styled.setAttribute('style', 'color: red');
            resolve({inline: window.inline === true, fromText, compiled, styled: styled.style.color});
        }));""" % COMPILE)
        self.assertEqual(done, {"inline": False, "fromText": False, "compiled": False, "styled": ""})

    def test_a_worker_compiles_webassembly_and_does_nothing_else_that_the_page_may_not(self):
        cases = {
            "worker.js": (self.policy_of("worker.js"), ["WebAssembly"]),
            "index.html": (self.policy_of("index.html"), []),  # so the worker needs a policy of its own
            "none": ("", ["WebAssembly", "code from text", "script of elsewhere", "request elsewhere"]),
        }
        scripts = {f"probe-{name}?other={self.service.url}": (PROBE, policy) for name, (policy, _) in cases.items()}
        proxy = Proxy(self.service.address, scripts=scripts)
        self.addCleanup(proxy.close)
        self.browser.open(proxy.url)
        for script, (name, (_, wanted)) in zip(scripts, cases.items()):
            with self.subTest(name):
                may = self.browser.run_async("""return await new Promise((resolve, reject) => {
                    const worker = new Worker(given[0], {type: 'module'});
                    worker.onmessage = ({data}) => { worker.terminate(); resolve(data); };
                    worker.onerror = () => reject('the worker did not start');
                });""", script)
                self.assertEqual(may, wanted)

    def test_nothing_that_the_page_does_breaks_them(self):
        self.browser.run("""window.breaches = [];
            addEventListener('securitypolicyviolation', ({violatedDirective, blockedURI}) =>
              breaches.push(`${violatedDirective} ${blockedURI}`));""")
        self.browser.choose(self.service.known[0])
        self.browser.wait_for_text("#status", "Recognised")
        self.browser.run("document.getElementById('figures').open = true")
        self.browser.wait_for_text("#figures-list", "Connections")
        self.assertEqual(self.browser.run("return breaches"), [])
        self.assert_no_faults()
        self.browser.run("document.body.append(document.createElement('style'))")  # and a breach is noticed
        self.browser.wait(lambda: self.browser.run("return breaches") == ["style-src-elem inline"])
        self.assertIn("style-src 'self'", self.browser.faults()[0])
